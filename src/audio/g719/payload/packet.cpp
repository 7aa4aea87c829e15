#include "payload/packet.h"

namespace g719 {

namespace {

// Reads the list and leaves in `frames_bytes` what it promises behind itself. Ends with the first
// fault, so that the sums stay small.
PacketFault read_list(const std::uint8_t* bytes, std::size_t size, Packet* packet,
                      std::size_t* frames_bytes) {
  int blocks_no_data = 0;
  for (TocEntry entry = {true, 0, 0}; entry.has_follower;) {
    if (packet->list_bytes + TOC_ENTRY_BYTES > size) return PacketFault::LIST_WITHOUT_END;
    entry = read_toc_entry(bytes + packet->list_bytes);
    packet->list_bytes += TOC_ENTRY_BYTES;
    packet->blocks += entry.blocks;
    *frames_bytes += promised_bytes(entry, packet->channels);
    if (entry.length_code == NO_DATA_LENGTH_CODE) blocks_no_data += entry.blocks;
    if (is_reserved_length_code(entry.length_code)) return PacketFault::RESERVED_LENGTH_CODE;
    if (packet->blocks > MAX_PACKET_BLOCKS) return PacketFault::TOO_LONG;
    if (blocks_no_data > MAX_PACKET_BLOCKS_NO_DATA) return PacketFault::TOO_EMPTY;
  }
  return PacketFault::NONE;
}

}  // namespace

Packet read_packet(const std::uint8_t* bytes, std::size_t size, int channels) {
  Packet packet = {};
  packet.channels = channels;
  std::size_t frames_bytes = 0;
  packet.fault = read_list(bytes, size, &packet, &frames_bytes);
  if (packet.fault == PacketFault::NONE && packet.list_bytes + frames_bytes != size) {
    packet.fault = PacketFault::OTHER_SIZE;
  }
  return packet;
}

bool next_entry(const std::uint8_t* bytes, const Packet& packet, PacketEntry* entry) {
  if (entry->list_offset == packet.list_bytes) return false;
  const bool is_first = entry->list_offset == 0;
  entry->first_block += entry->toc.blocks;
  entry->frames_offset = is_first ? packet.list_bytes : entry->frames_offset + entry->frames_bytes;
  entry->toc = read_toc_entry(bytes + entry->list_offset);
  entry->frames_bytes = promised_bytes(entry->toc, packet.channels);
  entry->list_offset += TOC_ENTRY_BYTES;
  return true;
}

const char* describe(PacketFault fault) {
  switch (fault) {
    case PacketFault::NONE:
      return "nothing is wrong";
    case PacketFault::LIST_WITHOUT_END:
      return "its list of entries does not end";
    case PacketFault::RESERVED_LENGTH_CODE:
      return "it has a reserved length code";
    case PacketFault::OTHER_SIZE:
      return "its size is not what its entries promise";
    case PacketFault::TOO_LONG:
      return "it spans more than 5 s";
    case PacketFault::TOO_EMPTY:
      return "it holds more than 50 frames without data";
  }
  return "";
}

}  // namespace g719
