#!/usr/bin/python3
"""Prints how sure GStreamer is that some bytes are a stream of payloads."""
import random

import gi
gi.require_version("Gst", "1.0")
gi.require_version("GstBase", "1.0")
from gi.repository import Gst, GstBase

Gst.init(None)
random.seed(1)


def payload(toc, count, frames=None):
    return bytes([toc, count]) + (frames or random.randbytes((count or 1) * (toc >> 2 & 31) * 10))


for what, data in {
        "four": b"".join(payload(0x30, 1) for _ in range(4)),
        "three and most of one": b"".join(payload(0x30, 1) for _ in range(4))[:-1],
        "sixteen frames": b"".join(payload(0x20, 16) for _ in range(4)),
        "seventeen": b"".join(payload(0x20, 17) for _ in range(4)),
        "no frames": b"".join(payload(0x30, 0) for _ in range(4)),
        "another header": b"".join(payload(0x30, 1) for _ in range(3)) + payload(0x31, 1),
        "another list": b"".join(payload(0xb0, 1) for _ in range(4)),
        "no data": b"".join(payload(0x00, 1, bytes(120)) for _ in range(4)),
        "equal bytes": b" \1" * 999, "equal in the last": b"".join(
            payload(0x20, 1, None if n < 3 else b"a" * 80) for n in range(4))}.items():
    caps, certainty = GstBase.type_find_helper_for_data(None, data)
    name = caps.to_string() if caps else "unknown"
    print(f"{what}:", f"{name}, {int(certainty)}" if name == "audio/G719" else "not known")
