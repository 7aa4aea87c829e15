// What an RTP packet holds (RFC 5404, basic mode): a list of ToC entries, then the frames of all of
// them in the same order. Block follows block in time, 20 ms each, from the packet's timestamp on.
#pragma once

#include "payload/toc_entry.h"

namespace g719 {

// Nobody sends longer packets, and a silence that takes no bytes must not take long either.
inline constexpr int MAX_PACKET_BLOCKS = 250;         // 5 s
inline constexpr int MAX_PACKET_BLOCKS_NO_DATA = 50;  // of them
inline constexpr int MAX_PACKET_CHANNELS = 6;         // more have no order

enum class PacketFault {
  NONE,
  LIST_WITHOUT_END,
  RESERVED_LENGTH_CODE,
  OTHER_SIZE,  // than the list promises
  TOO_LONG,
  TOO_EMPTY,
};

struct Packet {
  PacketFault fault;
  std::size_t list_bytes;
  int channels;
  int blocks;  // of all entries
};

// Reads the list at the start of the `size` bytes of a packet, and holds the size against it.
// `channels` is 1 to MAX_PACKET_CHANNELS.
Packet read_packet(const std::uint8_t* bytes, std::size_t size, int channels);

// One entry of a packet, and where it stands. {} is the place before the first.
struct PacketEntry {
  TocEntry toc;
  int first_block;            // how many blocks come before those of this entry
  std::size_t frames_offset;  // in the packet, in bytes
  std::size_t frames_bytes;
  std::size_t list_offset;  // where the next entry stands, in bytes
};

// Goes on to the next entry of a packet without a fault; false if there is none.
bool next_entry(const std::uint8_t* bytes, const Packet& packet, PacketEntry* entry);

// In a few words, for logs.
const char* describe(PacketFault fault);

}  // namespace g719
