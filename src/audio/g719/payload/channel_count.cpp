#include "payload/channel_count.h"

#include "payload/header_index.h"

namespace g719 {

namespace {

struct HeaderRow {
  bool fits;
  std::size_t wanted_bytes;  // of the stream to be held; 0: decided
};

// Whether headers like the first, which promises frames, stand where payloads of `channels` end.
HeaderRow judge_row(const std::uint8_t* bytes, std::size_t size, bool at_end, int channels) {
  const std::size_t payload = payload_bytes(read_toc_entry(bytes), channels);
  std::size_t next = payload;
  for (int headers = 1; headers < HEADERS_IN_A_ROW; ++headers, next += payload) {
    const std::size_t needed = next + PAYLOAD_HEADER_BYTES;
    if (needed > size) {
      if (!at_end) return {false, needed};
      return {headers > 1 || next == size, 0};
    }
    if (read_header_kind(bytes + next) != read_header_kind(bytes)) return {false, 0};
  }
  return {true, 0};
}

}  // namespace

ChannelCount count_channels(const std::uint8_t* bytes, std::size_t size, bool at_end) {
  if (size < PAYLOAD_HEADER_BYTES && !at_end) return {0, PAYLOAD_HEADER_BYTES};
  if (size < PAYLOAD_HEADER_BYTES || !is_header_of_frames(bytes)) return {1, 0};
  const HeaderRow of_two = judge_row(bytes, size, at_end, 2);
  const bool can_be_two = of_two.fits || of_two.wanted_bytes > 0;
  if (!can_be_two || judge_row(bytes, size, at_end, 1).fits) return {1, 0};
  return {of_two.fits ? 2 : 0, of_two.wanted_bytes};
}

}  // namespace g719
