// One entry of a table of contents: what follows in which frame size. A payload begins with one, a
// packet with a list of them.
//
//   byte 0   F bit (bit 7), length code L (bits 6 to 2), two bits without meaning, sent as 0
//   byte 1   number of frame-blocks, 0 to 255
//
// A frame-block is one frame of each channel, so with one channel it is a frame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "payload/length_code.h"

namespace g719 {

inline constexpr std::size_t TOC_ENTRY_BYTES = 2;
inline constexpr int MAX_BLOCKS = 255;

struct TocEntry {
  bool has_follower;  // F bit: another entry follows
  int length_code;    // L, 0 to 31
  int blocks;         // 0 to MAX_BLOCKS
};

// Reads the TOC_ENTRY_BYTES bytes at `bytes`.
constexpr TocEntry read_toc_entry(const std::uint8_t* bytes) {
  return {(bytes[0] & 0x80) != 0, (bytes[0] >> 2) & 0x1F, bytes[1]};
}

constexpr void write_toc_entry(const TocEntry& entry, std::uint8_t* bytes) {
  bytes[0] = static_cast<std::uint8_t>((entry.has_follower ? 0x80 : 0) | entry.length_code << 2);
  bytes[1] = static_cast<std::uint8_t>(entry.blocks);
}

// Bytes that the entry promises behind the list. Frames without data and of reserved codes have
// none.
constexpr std::size_t promised_bytes(const TocEntry& entry, int channels = 1) {
  return static_cast<std::size_t>(entry.blocks) * frame_bytes_of_length_code(entry.length_code) *
         channels;
}

}  // namespace g719
