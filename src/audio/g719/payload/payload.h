// A payload: one ToC entry, its header, and the frames that this promises, back to back. It is what
// one buffer between elements holds, and a file holds one behind the other.
#pragma once

#include <algorithm>

#include "payload/toc_entry.h"

namespace g719 {

inline constexpr std::size_t PAYLOAD_HEADER_BYTES = TOC_ENTRY_BYTES;
inline constexpr int MAX_STREAM_CHANNELS = 2;  // of streams that the finder knows
inline constexpr std::size_t MAX_PAYLOAD_BYTES =
    PAYLOAD_HEADER_BYTES + std::size_t{MAX_BLOCKS} * MAX_STREAM_CHANNELS * G719_MAX_FRAME_BYTES;
inline constexpr std::uint64_t FRAME_DURATION = 20'000'000;  // ns

// The bytes of a payload with this header.
constexpr std::size_t payload_bytes(const TocEntry& header, int channels = 1) {
  return PAYLOAD_HEADER_BYTES + promised_bytes(header, channels);
}

// What a payload's header says, and how much of it is really there.
struct Payload {
  TocEntry header;
  int frame_bytes;           // 0, like all the rest: the length code names no frame size
  int bitrate;               // of a channel, bit/s
  int blocks_complete;       // those promised frame-blocks that are there whole
  std::size_t bytes_behind;  // what follows the last promised frame
};

// Reads the `size` bytes at `bytes`, at least PAYLOAD_HEADER_BYTES.
inline Payload read_payload(const std::uint8_t* bytes, std::size_t size, int channels = 1) {
  Payload payload = {};
  payload.header = read_toc_entry(bytes);
  payload.frame_bytes = frame_bytes_of_length_code(payload.header.length_code);
  if (payload.frame_bytes == 0) return payload;

  payload.bitrate = bitrate_of_frame_bytes(payload.frame_bytes);
  const std::size_t bytes_held = size - PAYLOAD_HEADER_BYTES;
  const std::size_t bytes_of_frames =
      std::min(bytes_held, promised_bytes(payload.header, channels));
  payload.blocks_complete = static_cast<int>(bytes_of_frames) / (payload.frame_bytes * channels);
  payload.bytes_behind = bytes_held - bytes_of_frames;
  return payload;
}

// Where frame `i` of the payload begins, in bytes. The frames of a block stand side by side.
constexpr std::size_t frame_offset(const Payload& payload, int i) {
  return PAYLOAD_HEADER_BYTES + static_cast<std::size_t>(i) * payload.frame_bytes;
}

}  // namespace g719
