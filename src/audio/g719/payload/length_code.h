// Length codes: the 5 bits of a ToC entry that name the size of its frames, and so the bitrate.
#pragma once

#include "g719.h"

namespace g719 {

inline constexpr int NO_DATA_LENGTH_CODE = 0;
inline constexpr int MIN_LENGTH_CODE = 8;
inline constexpr int MAX_LENGTH_CODE = 27;
inline constexpr int LAST_FINE_LENGTH_CODE = 22;  // from here on every second frame size only

// Bytes a frame that `length_code`, 0 to 31, names; 0 for no data and for the reserved codes.
constexpr int frame_bytes_of_length_code(int length_code) {
  if (length_code < MIN_LENGTH_CODE || length_code > MAX_LENGTH_CODE) return 0;
  return length_code <= LAST_FINE_LENGTH_CODE ? 10 * length_code : 20 * length_code - 220;
}

constexpr bool is_reserved_length_code(int length_code) {
  return length_code != NO_DATA_LENGTH_CODE && frame_bytes_of_length_code(length_code) == 0;
}

// Bytes a frame at `bitrate`, in bit/s, and back.
constexpr int frame_bytes_of_bitrate(int bitrate) { return bitrate / G719_BITRATE_STEP; }
constexpr int bitrate_of_frame_bytes(int frame_bytes) { return frame_bytes * G719_BITRATE_STEP; }

// The code that names `bitrate`, in bit/s; 0 if none does.
constexpr int length_code_of_bitrate(int bitrate) {
  for (int code = MIN_LENGTH_CODE; code <= MAX_LENGTH_CODE; ++code) {
    if (bitrate_of_frame_bytes(frame_bytes_of_length_code(code)) == bitrate) return code;
  }
  return 0;
}

static_assert(frame_bytes_of_length_code(8) == 80 && frame_bytes_of_length_code(22) == 220 &&
              frame_bytes_of_length_code(23) == 240 && frame_bytes_of_length_code(27) == 320);
static_assert(length_code_of_bitrate(32000) == 8 && length_code_of_bitrate(64000) == 16 &&
              length_code_of_bitrate(128000) == 27 && length_code_of_bitrate(92000) == 0);

}  // namespace g719
