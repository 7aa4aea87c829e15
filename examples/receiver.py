#!/usr/bin/python3
"""Plays the stream that an SDP file describes, also when its sender begins anew: to sdpdemux that
is a second stream, for which it has no pad. Ends with Ctrl-C. The elements must be installed, or
GST_PLUGIN_PATH name them.

    examples/receiver.py FILE [SINK]    SINK replaces the loudspeaker, autoaudiosink
"""

import signal
import sys

import gi
gi.require_version("Gst", "1.0")
gi.require_version("GstSdp", "1.0")
from gi.repository import GLib, Gst, GstSdp


# The port and caps of the first stream that a session offers.
def read_session(path):
    _, session = GstSdp.SDPMessage.new()
    try:
        with open(path, "rb") as file:
            GstSdp.sdp_message_parse_buffer(file.read(), session)
    except OSError as error:
        sys.exit(str(error))
    if session.medias_len() == 0:
        sys.exit(f"{path}: offers no stream")
    media = session.get_media(0)
    caps = media.get_caps_from_media(int(media.get_format(0))).to_string()
    return media.get_port(), Gst.Caps.from_string(caps.replace("x-unknown", "x-rtp", 1))


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    Gst.init(None)
    port, caps = read_session(sys.argv[1])
    pipeline = Gst.parse_launch(
        f"udpsrc name=source port={port} ! rtpg719gate ! rtpjitterbuffer latency=40 do-lost=true ! "
        "rtpg719depay ! zelg719streamdec ! audioconvert ! audioresample ! "
        + (sys.argv[2] if len(sys.argv) == 3 else "autoaudiosink"))
    pipeline.get_by_name("source").set_property("caps", caps)

    loop = GLib.MainLoop()
    failures = []
    bus = pipeline.get_bus()
    bus.add_signal_watch()
    bus.connect("message::error", lambda _, message: (failures.append(message), loop.quit()))
    for number in (signal.SIGINT, signal.SIGTERM):
        GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, number, loop.quit)
    pipeline.set_state(Gst.State.PLAYING)
    loop.run()
    pipeline.set_state(Gst.State.NULL)
    if failures:
        sys.exit(f"{failures[0].src.get_name()}: {failures[0].parse_error()[0].message}")


main()
