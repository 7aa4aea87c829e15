// The caps of the elements' pads.
#pragma once

inline constexpr char G719_RAW_CAPS[] =
    "audio/x-raw, format = S16LE, layout = (string) interleaved, rate = (int) 48000, "
    "channels = (int) 1";
inline constexpr char G719_ENCODED_CAPS[] =
    "audio/G719, rate = (int) 48000, channels = (int) 1, bitrate = (int) { 32000, 48000, 64000 }";
inline constexpr char G719_PAYLOAD_CAPS[] = "audio/G719";
