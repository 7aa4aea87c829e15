// The payload format, and the caps, that all elements share.
//
//   offset 0   ToC byte: F bit (bit 7), length code L (bits 6 to 2), two bits without meaning
//   offset 1   frame count N, 0 to 255
//   offset 2   N frames back to back, all of the size that L names; bytes after them are ignored
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "g719.h"

inline constexpr char G719_RAW_CAPS[] =
    "audio/x-raw, format = S16LE, layout = (string) interleaved, rate = (int) 48000, "
    "channels = (int) 1";
inline constexpr char G719_ENCODED_CAPS[] =
    "audio/G719, rate = (int) 48000, channels = (int) 1, bitrate = (int) { 32000, 48000, 64000 }";
inline constexpr char G719_PAYLOAD_CAPS[] = "audio/G719";

namespace g719 {

inline constexpr std::size_t PAYLOAD_HEADER_BYTES = 2;
inline constexpr std::uint64_t FRAME_DURATION = 20'000'000;  // ns
inline constexpr std::size_t FRAME_PCM_BYTES = G719_FRAME_SAMPLES * sizeof(std::int16_t);

// Bytes a frame at `bitrate`, in bit/s.
constexpr std::int32_t frame_bytes_of_bitrate(std::int32_t bitrate) { return bitrate * 20 / 8000; }

// Bytes a frame that length code `L`, 0 to 31, names; 0 for the codes without a frame size.
constexpr std::int32_t frame_bytes_of_length_code(std::int32_t L) {
  if (L < 8 || L > 27) return 0;
  return L <= 22 ? 10 * L : 20 * L - 220;
}

// The encoder's ToC byte. 32000, 48000 and 64000 bit/s only: the rule names no other rate rightly.
constexpr std::uint8_t toc_of_bitrate(std::int32_t bitrate) {
  return static_cast<std::uint8_t>(((bitrate * 20 / 80000) & 0xFC) << 2);
}

constexpr bool toc_has_follower(std::uint8_t toc) { return (toc & 0x80) != 0; }

constexpr std::int32_t length_code_of_toc(std::uint8_t toc) { return (toc >> 2) & 0x1F; }

static_assert(toc_of_bitrate(32000) == 0x20 && toc_of_bitrate(48000) == 0x30 &&
              toc_of_bitrate(64000) == 0x40);
static_assert(frame_bytes_of_length_code(8) == 80 && frame_bytes_of_length_code(22) == 220 &&
              frame_bytes_of_length_code(23) == 240 && frame_bytes_of_length_code(27) == 320);

// What a payload's header says, and how much of it is really there.
struct PayloadLayout {
  std::uint32_t frame_bytes;      // 0, like all the rest: the length code names no frame size
  std::int32_t bitrate;           // bit/s
  std::uint32_t frames_promised;  // N
  std::uint32_t frames_complete;  // those of them that the payload holds whole
  std::size_t bytes_behind;       // what follows the last promised frame
};

// Reads the header of the `size` bytes at `bytes`, at least PAYLOAD_HEADER_BYTES.
inline PayloadLayout parse_payload(const std::uint8_t* bytes, std::size_t size) {
  const std::int32_t frame_bytes = frame_bytes_of_length_code(length_code_of_toc(bytes[0]));
  if (frame_bytes == 0) return {};

  PayloadLayout layout = {};
  layout.frame_bytes = static_cast<std::uint32_t>(frame_bytes);
  layout.bitrate = frame_bytes * 400;
  layout.frames_promised = bytes[1];
  const std::size_t bytes_promised = layout.frames_promised * layout.frame_bytes;
  const std::size_t bytes_held = size - PAYLOAD_HEADER_BYTES;
  const std::size_t bytes_of_frames = std::min(bytes_held, bytes_promised);
  layout.frames_complete = static_cast<std::uint32_t>(bytes_of_frames / layout.frame_bytes);
  layout.bytes_behind = bytes_held - bytes_of_frames;
  return layout;
}

}  // namespace g719
