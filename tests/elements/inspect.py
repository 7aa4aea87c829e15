#!/usr/bin/python3
"""Prints what GStreamer's registry knows of some plug-ins."""
import sys
import textwrap

import gi
gi.require_version("Gst", "1.0")
from gi.repository import Gst


def say(line):
    print(textwrap.fill(line, 92, subsequent_indent="    ", break_on_hyphens=False))


Gst.init(None)
for name in sys.argv[1:]:
    plugin = Gst.Registry.get().find_plugin(name)
    say(f"{name} {plugin.get_version()}: {plugin.get_description()}; {plugin.get_license()}, "
        f"{plugin.get_source()}, {plugin.get_package()}, {plugin.get_origin()}")
    authors = set()
    for feature in sorted(Gst.Registry.get().get_feature_list_by_plugin(name),
                          key=lambda feature: feature.get_name()):
        say(f"{feature.get_name()}, rank {feature.get_rank()}")
        if not isinstance(feature, Gst.ElementFactory):
            continue
        say("  " + "; ".join(feature.get_metadata(key)
                             for key in ("long-name", "klass", "description")))
        authors.add(feature.get_metadata("author"))
        element = feature.create()
        kind = element.__gtype__
        own = [f"{spec.name} ({spec.nick}, {spec.flags:#x}) {element.get_property(spec.name):d}"
               for spec in element.list_properties() if spec.owner_type == kind]
        say("  " + ", ".join([f"{kind.name} is a {kind.parent.name}", *own]))
        for pad in sorted(feature.get_static_pad_templates(), key=lambda pad: pad.name_template):
            say(f"  {pad.name_template}, {pad.presence.value_nick}: {pad.get_caps().to_string()}")
    say(f"all by {', '.join(authors)}")
