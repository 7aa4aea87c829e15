#!/usr/bin/python3
"""A conference over RTP: everyone hears all others, and not himself. Ends with Ctrl-C. The elements
must be installed, or GST_PLUGIN_PATH name them.

    examples/conference.py [--bitrate BITRATE] [--seconds SECONDS] PORT:HOST:PORT...

For each participant: the UDP port here that his packets come to, and where the mix for him goes.
One who sends to this machine and listens on his own port 5004:

    gst-launch-1.0 autoaudiosrc ! audioconvert ! audioresample ! zelg719enc ! rtpg719pay ! \\
        udpsink host=SERVER port=5006 async=false \\
        udpsrc port=5004 \\
        caps="application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719" ! \\
        rtpjitterbuffer latency=40 ! rtpg719depay ! zelg719dec ! audioconvert ! autoaudiosink
"""

import argparse
import signal

import gi
gi.require_version("Gst", "1.0")
from gi.repository import GLib, Gst

RTP = "application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719"
RAW = "audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=1"


# A mixer waits for nobody longer than its latency, so that one who is silent, late or gone does not
# keep the others waiting. Its pads queue what comes, and its output has a thread of its own.
def describe(participants, bitrate):
    lines = []
    for me, (port, host, his_port) in enumerate(participants):
        lines.append(f"""
            udpsrc port={port} caps={RTP} ! rtpjitterbuffer name=jitter{me} latency=40 do-lost=true !
            rtpg719depay ! zelg719dec ! level name=level{me} !
            tee name=voice{me} allow-not-linked=true
            liveadder name=mix{me} latency=20 output-buffer-duration=20000000 ! {RAW} !
            zelg719enc bitrate={bitrate} ! rtpg719pay !
            udpsink host={host} port={his_port} sync=false async=false""")
        lines += [f"voice{other}.src_{me} ! mix{me}.sink_{other}"
                  for other in range(len(participants)) if other != me]
    return "\n".join(lines)


class Conference:
    def __init__(self, participants, bitrate):
        self.ports = [port for port, _, _ in participants]
        self.pipeline = Gst.parse_launch(describe(participants, bitrate))
        self.jitter = [self.pipeline.get_by_name(f"jitter{n}") for n in range(len(self.ports))]
        self.level = {}
        self.failure = None
        self.loop = GLib.MainLoop()
        bus = self.pipeline.get_bus()
        bus.add_signal_watch()
        bus.connect("message::element", self.on_level)
        bus.connect("message::error", self.on_error)

    def on_level(self, bus, message):
        if message.has_name("level"):
            self.level[message.src.get_name()] = message.get_structure().get_value("rms")[0]

    def on_error(self, bus, message):
        self.failure = f"{message.src.get_name()}: {message.parse_error()[0].message}"
        self.loop.quit()

    def print_line(self):
        cells = []
        for number, port in enumerate(self.ports):
            stats = self.jitter[number].get_property("stats")
            level = self.level.pop(f"level{number}", None)  # of the last second, or there is none
            cells.append(f"{port}: {stats.get_value('num-pushed')} packets, "
                         f"{stats.get_value('num-lost')} lost, "
                         + ("silent" if level is None else f"{level:.0f} dB"))
        print("   ".join(cells), flush=True)
        return GLib.SOURCE_CONTINUE

    def run(self, seconds):
        for number in (signal.SIGINT, signal.SIGTERM):
            GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, number, self.loop.quit)
        GLib.timeout_add(1000, self.print_line)
        if seconds:
            GLib.timeout_add(int(1000 * seconds), self.loop.quit)
        self.pipeline.set_state(Gst.State.PLAYING)
        self.loop.run()
        self.pipeline.set_state(Gst.State.NULL)
        return self.failure


def participant(text):
    port, host, his_port = text.split(":")
    return int(port), host, int(his_port)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("participants", nargs="+", type=participant, metavar="PORT:HOST:PORT")
    parser.add_argument("--bitrate", type=int, choices=(32000, 48000, 64000), default=64000)
    parser.add_argument("--seconds", type=float, help="end by itself")
    arguments = parser.parse_args()
    Gst.init(None)
    return Conference(arguments.participants, arguments.bitrate).run(arguments.seconds)


raise SystemExit(main())
