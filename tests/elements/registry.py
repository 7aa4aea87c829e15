#!/usr/bin/python3
"""Prints what GStreamer's registry knows of some plug-ins, or with the name of none how sure it is
that some bytes are a stream of payloads."""
import random
import sys
import textwrap

import gi
gi.require_versions({"Gst": "1.0", "GstBase": "1.0"})
from gi.repository import Gst, GstBase


def say(line):
    print(textwrap.fill(line, 92, subsequent_indent="    ", break_on_hyphens=False))


def default(element, name):
    value = element.get_property(name)
    return "numbers" if isinstance(value, Gst.Structure) else f"{value:d}"


def inspect(name):
    registry = Gst.Registry.get()
    plugin = registry.find_plugin(name)
    say(f"{name} {plugin.get_version()}: {plugin.get_description()}; {plugin.get_license()}, "
        f"{plugin.get_source()}, {plugin.get_package()}, {plugin.get_origin()}")
    authors = set()
    features = registry.get_feature_list_by_plugin(name)
    for feature in sorted(features, key=lambda feature: feature.get_name()):
        say(f"{feature.get_name()}, rank {feature.get_rank()}")
        if not isinstance(feature, Gst.ElementFactory):
            continue
        say("  " + "; ".join(map(feature.get_metadata, ("long-name", "klass", "description"))))
        authors.add(feature.get_metadata("author"))
        element = feature.create()
        kind = element.__gtype__
        own = [f"{spec.name} ({spec.nick}, {spec.flags:#x}) {default(element, spec.name)}"
               for spec in element.list_properties() if spec.owner_type == kind]
        say("  " + ", ".join([f"{kind.name} is a {kind.parent.name}", *own]))
        for pad in sorted(feature.get_static_pad_templates(), key=lambda pad: pad.name_template):
            say(f"  {pad.name_template}, {pad.presence.value_nick}: {pad.get_caps().to_string()}")
    say(f"all by {', '.join(authors)}")


def stream(toc, count, payloads=4, channels=1):
    size = (count or 1) * (toc >> 2 & 31) * 10 * channels
    return b"".join(bytes([toc, count]) + random.randbytes(size) for _ in range(payloads))


def find_types():
    for what, data in {
            "four": stream(0x30, 1), "two channels": stream(0x30, 1, 4, 2),
            "three and most of one": stream(0x30, 1)[:-1],
            "sixteen frames": stream(0x20, 16), "seventeen": stream(0x20, 17),
            "no frames": stream(0x30, 0), "no data": bytes(999), "another list": stream(0xb0, 1),
            "another header": stream(0x30, 1, 3) + stream(0x31, 1, 1), "equal bytes": b" \1" * 999,
            "equal in the last": stream(0x20, 1, 3) + b" \1" + b"a" * 80}.items():
        caps, certainty = GstBase.type_find_helper_for_data(None, data)
        is_known = caps and caps.to_string() == "audio/G719"
        say(f"{what}: {int(certainty) if is_known else 'not known'}")


Gst.init(None)
for plugin_name in sys.argv[1:]:
    inspect(plugin_name)
if len(sys.argv) == 1:
    find_types()
