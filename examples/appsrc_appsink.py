#!/usr/bin/python3
"""Samples in, payloads out, and back, from a program's own memory: one second of a buzz is encoded,
each payload arrives as bytes in Python, and is decoded again. Prints how close it comes back. The
elements must be installed, or GST_PLUGIN_PATH name them.

    examples/appsrc_appsink.py [BITRATE]    one of the 20 from 32000 to 128000, 64000 without
"""

import array
import sys

import gi
gi.require_version("Gst", "1.0")
gi.require_version("GstApp", "1.0")
from gi.repository import GLib, Gst, GstApp

FRAME = 960       # samples
SECOND = 48000    # samples
RAW = "audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=1"


def convert(blocks, caps, element):
    """Sends blocks of bytes, 20 ms each, through an element and yields what comes out."""
    pipeline = Gst.parse_launch(f"appsrc name=source format=time caps={caps} ! {element} ! "
                                "appsink name=sink sync=false")
    source, sink = pipeline.get_by_name("source"), pipeline.get_by_name("sink")
    pipeline.set_state(Gst.State.PLAYING)
    for number, block in enumerate(blocks):
        buffer = Gst.Buffer.new_wrapped(bytes(block))
        buffer.pts = number * 20 * Gst.MSECOND
        buffer.duration = 20 * Gst.MSECOND
        source.push_buffer(buffer)
    source.end_of_stream()
    while sample := sink.pull_sample():  # none at the end of the stream, or after an error
        buffer = sample.get_buffer()
        yield buffer.extract_dup(0, buffer.get_size())
    message = pipeline.get_bus().pop_filtered(Gst.MessageType.ERROR)
    pipeline.set_state(Gst.State.NULL)
    if message:
        sys.exit(f"{message.src.get_name()}: {message.parse_error()[0].message}")


def samples_of(blocks):
    samples = array.array("h", b"".join(blocks))
    if sys.byteorder == "big":
        samples.byteswap()
    return samples


def main():
    Gst.init(None)
    if len(sys.argv) > 2:
        sys.exit(__doc__)
    bitrate = sys.argv[1] if len(sys.argv) == 2 else "64000"

    sent = array.array("h", (abs(n % 160 - 80) * 200 - 8000 for n in range(SECOND)))
    frames = [sent[n:n + FRAME] for n in range(0, len(sent), FRAME)]
    if sys.byteorder == "big":
        for frame in frames:
            frame.byteswap()

    try:
        payloads = list(convert(frames, RAW, f"zelg719streamenc bitrate={bitrate}"))
    except GLib.Error as error:
        sys.exit(error.message)  # names the bitrate, or the element that is not there
    print(f"{len(payloads)} payloads of {len(payloads[0])} bytes; the header is {payloads[0][:2].hex()}")
    # Sample n is sample n again. Bytes alone do not say that the last payload only completes the sound.
    received = samples_of(convert(payloads, "audio/G719,channels=1", "zelg719streamdec"))[:SECOND]
    noise = sum((a - b) ** 2 for a, b in zip(received, sent))
    print(f"noise is {1000 * noise / sum(a * a for a in sent):.1f} in 1000 of the signal")


main()
