#!/usr/bin/python3
"""A conference over RTP: everyone hears all others, and not himself. Ends with Ctrl-C. The elements
must be installed, or GST_PLUGIN_PATH name them.

    examples/conference.py [--bitrate BITRATE] [--seconds SECONDS] PORT:HOST:PORT...

For each participant: the UDP port here that his packets come to, and where the mix for him goes.
One who sends to this machine and listens on his own port 5004:

    gst-launch-1.0 autoaudiosrc ! audioconvert ! audioresample ! audio/x-raw,channels=1 ! \\
        zelg719streamenc ! rtpg719pay ! udpsink host=SERVER port=5006 async=false \\
        udpsrc port=5004 \\
        caps="application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719" ! rtpg719gate ! \\
        rtpjitterbuffer latency=40 do-lost=true ! rtpg719depay ! zelg719streamdec ! \\
        audioconvert ! audioresample ! autoaudiosink

Once a second it prints, for each participant and from the start:

    came     packets that came in time
    lost     packets that did not
    foreign  packets that came from another source than the present one, or are no RTP
    unread   packets that the system dropped because nobody took them in time
    frames   of 20 ms that were decoded or, where they were lost, concealed
    dB       level of the last second, or "silent"; "out" where something of his failed
    sent     packets with the mix for him
    late     ms of the others' sound that came too late for his mix
"""

import argparse
import re
import signal
import sys

import gi
gi.require_version("Gst", "1.0")
from gi.repository import Gio, GLib, Gst

RTP = "application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719"
RAW = "audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=1"
FRAME_BYTES = 1920  # decoded
COLUMNS = "port", "came", "lost", "foreign", "unread", "frames", "dB", "sent", "late"


# A mixer waits for nobody longer than its latency, so that one who is silent, late or gone does not
# keep the others waiting. Its pads queue what comes, and its output has a thread of its own; when
# an element behind it fails, errorignore keeps that from those who speak. After a pause it believes
# the timestamps at once: by itself it would take all that follows for late, for a second. Bins say
# whose a failure is.
def describe(participants, bitrate):
    lines = []
    for me, (port, host, his_port) in enumerate(participants):
        late = " ".join(f"sink_{other}::qos-messages=true"
                        for other in range(len(participants)) if other != me)
        lines.append(f"""
            ( name=in{me} udpsrc name=source{me} caps={RTP} ! rtpg719gate name=gate{me} !
            rtpjitterbuffer name=jitter{me} latency=40 do-lost=true ! rtpg719depay !
            zelg719streamdec ! identity name=frames{me} ! level name=level{me} !
            tee name=voice{me} allow-not-linked=true )
            ( name=out{me} liveadder name=mix{me} latency=20 discont-wait=0
            output-buffer-duration=20000000 {late} ! {RAW} !
            errorignore convert-to=ok ! zelg719streamenc bitrate={bitrate} ! rtpg719pay !
            udpsink name=sink{me} host={host} port={his_port} sync=false async=false )""")
    for me in range(len(participants)):
        lines += [f"voice{other}.src_{me} ! mix{me}.sink_{other}"
                  for other in range(len(participants)) if other != me]
    return "\n".join(lines)


# Raises GLib.Error for a port that is taken or forbidden.
def bound_socket(port):
    bound = Gio.Socket.new(Gio.SocketFamily.IPV4, Gio.SocketType.DATAGRAM, Gio.SocketProtocol.UDP)
    everywhere = Gio.InetAddress.new_any(Gio.SocketFamily.IPV4)
    bound.bind(Gio.InetSocketAddress.new(everywhere, port), False)
    return bound


# Packets that the system dropped, by port.
def unread_packets():
    with open("/proc/net/udp", encoding="ascii") as sockets:
        rows = [row.split() for row in sockets][1:]
    return {int(row[1].split(":")[1], 16): row[-1] for row in rows}


class Conference:
    def __init__(self, participants, bitrate):
        self.ports = [port for port, _, _ in participants]
        self.pipeline = Gst.parse_launch(describe(participants, bitrate))
        for me, (port, host, _) in enumerate(participants):
            Gio.Resolver.get_default().lookup_by_name(host)  # udpsink would say nothing
            self.element("source", me).set_property("socket", bound_socket(port))
        self.level = {}
        self.late = {}  # samples, by pad
        self.out = set()
        self.loop = GLib.MainLoop()
        bus = self.pipeline.get_bus()
        bus.add_signal_watch()
        bus.connect("message::element", self.on_level)
        bus.connect("message::qos", self.on_late)
        bus.connect("message::error", self.on_error)

    def element(self, name, me):
        return self.pipeline.get_by_name(f"{name}{me}")

    def stats(self, name, me, field):
        return self.element(name, me).get_property("stats").get_value(field)

    def on_level(self, bus, message):
        if message.has_name("level"):
            self.level[message.src.get_name()] = message.get_structure().get_value("rms")[0]

    def on_late(self, bus, message):
        self.late[message.src.get_path_string()] = message.parse_qos_stats().dropped

    # What failed of him stops. All others go on, and so does his other direction.
    def on_error(self, bus, message):
        me = int(re.search(r":(?:in|out)(\d+)/", message.src.get_path_string())[1])
        if me not in self.out:
            print(f"{self.ports[me]} is out: {message.src.get_name()}: "
                  f"{message.parse_error()[0].message}", file=sys.stderr, flush=True)
        self.out.add(me)

    def print_table(self):
        unread = unread_packets()
        print("\n" + "".join(f"{column:>8}" for column in COLUMNS))
        for me, port in enumerate(self.ports):
            level = self.level.pop(f"level{me}", None)  # of the last second, or there is none
            late = sum(samples for pad, samples in self.late.items() if f"mix{me}." in pad)
            cells = (port, self.stats("jitter", me, "num-pushed"),
                     self.stats("jitter", me, "num-lost"),
                     self.element("gate", me).get_property("dropped"), unread.get(port, ""),
                     self.stats("frames", me, "num-bytes") // FRAME_BYTES,
                     "out" if me in self.out else "silent" if level is None else f"{level:.0f}",
                     self.stats("sink", me, "rendered"), late // 48)
            print("".join(f"{cell:>8}" for cell in cells), flush=True)
        return GLib.SOURCE_CONTINUE

    def run(self, seconds):
        for number in (signal.SIGINT, signal.SIGTERM):
            GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, number, self.loop.quit)
        GLib.timeout_add(1000, self.print_table)
        if seconds:
            GLib.timeout_add(int(1000 * seconds), self.loop.quit)
        self.pipeline.set_state(Gst.State.PLAYING)
        self.loop.run()
        self.pipeline.set_state(Gst.State.NULL)


def participant(text):
    port, host, his_port = text.split(":")
    if not (0 < int(port) < 65536 and 0 < int(his_port) < 65536):
        raise ValueError
    return int(port), host, int(his_port)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("participants", nargs="+", type=participant, metavar="PORT:HOST:PORT")
    parser.add_argument("--bitrate", type=int, default=64000,
                        help="one of the 20 from 32000 to 128000; 64000 without")
    parser.add_argument("--seconds", type=float, help="end by itself")
    arguments = parser.parse_args()
    Gst.init(None)
    try:
        Conference(arguments.participants, arguments.bitrate).run(arguments.seconds)
    except GLib.Error as error:
        sys.exit(error.message)  # names the port, the host or the element


main()
