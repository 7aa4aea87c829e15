#pragma once

#include <gst/gst.h>

// Registers what knows a stream of G.719 payloads by its first bytes.
gboolean zel_g719_register_typefind(GstPlugin* plugin);
