// Where the headers of each kind stand in the stretch of a stream that lies ahead, so that the next
// one of a kind is found without another look at the bytes between.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "payload/payload.h"

namespace g719 {

// Two headers are of one kind if their bytes are equal.
using HeaderKind = std::array<std::uint8_t, PAYLOAD_HEADER_BYTES>;

inline HeaderKind read_header_kind(const std::uint8_t* header) { return {header[0], header[1]}; }

// Whether a payload with frames can begin with these bytes.
inline bool is_header_of_frames(const std::uint8_t* header) {
  const TocEntry entry = read_toc_entry(header);
  return !entry.has_follower && entry.blocks > 0 &&
         frame_bytes_of_length_code(entry.length_code) > 0;
}

// Chains of headers, a chain a kind. It takes no memory before the first is added, then 1.54 MB.
// That has room for two of the largest payloads. When it is used up the index begins anew at the
// present place, and reads what lies ahead a second time: one of the largest payloads at most, and
// not before as much lies behind.
struct HeaderIndex {
  std::uint64_t start = 0;  // in the stream, of the place that counts as 0 in what follows
  // The ends of each chain; the last one means nothing where there is no first one.
  std::vector<std::uint32_t> first;
  std::vector<std::uint32_t> last;
  std::vector<std::uint32_t> next;  // of the same kind, for each place
};

// Adds what stands from `from` to `end`, unless it was added before, in which case it is not looked
// at. `bytes` begin at `position` in the stream. The range spans no more than the largest payload,
// and nothing before `from` is asked for any more.
void add_headers(HeaderIndex* index, const std::uint8_t* bytes, std::uint64_t position,
                 std::size_t from, std::size_t end);

// Leaves in `place` where the first header of a kind that promises frames stands, from the place
// `from` in the stream on. False if there is none. What stands before is forgotten.
bool first_header(HeaderIndex* index, HeaderKind kind, std::uint64_t from, std::uint64_t* place);

// Forgets the header that `first_header` gave.
void forget_first_header(HeaderIndex* index, HeaderKind kind);

}  // namespace g719
