// The enumeration of the bitrates of a channel that a payload's header can name.
#pragma once

#include <glib-object.h>

inline constexpr gint ZEL_G719_STREAM_DEFAULT_BITRATE = 64000;  // bit/s

// The registered type. Each value is a bitrate in bit/s and its nick is the same number, so that
// "bitrate=48000" reads the same on a command line and in code.
GType zel_g719_stream_bitrate_get_type();
