#include "payload/header_index.h"

#include <algorithm>

namespace g719 {

namespace {

constexpr std::size_t MAX_PLACES = 2 * MAX_PAYLOAD_BYTES;
constexpr std::uint32_t NONE = UINT32_MAX;

// The first byte of a header with frames is below that of one with the next length code.
constexpr std::size_t FIRST_BYTES = [] {
  std::uint8_t header[TOC_ENTRY_BYTES] = {};
  write_toc_entry({false, MAX_LENGTH_CODE + 1, 0}, header);
  return header[0];
}();
constexpr std::size_t NUM_KINDS = FIRST_BYTES * (MAX_BLOCKS + 1);

std::size_t number_of_kind(HeaderKind kind) {
  return kind[0] * std::size_t{MAX_BLOCKS + 1} + kind[1];
}

void begin_anew(HeaderIndex* index, std::uint64_t start) {
  index->start = start;
  index->first.assign(NUM_KINDS, NONE);
  index->last.resize(NUM_KINDS);
  index->next.clear();
  index->next.reserve(MAX_PLACES);
}

void append(HeaderIndex* index, HeaderKind kind, std::uint32_t place) {
  const std::size_t number = number_of_kind(kind);
  const bool is_first = index->first[number] == NONE;
  (is_first ? index->first[number] : index->next[index->last[number]]) = place;
  index->last[number] = place;
}

}  // namespace

void add_headers(HeaderIndex* index, const std::uint8_t* bytes, std::uint64_t position,
                 std::size_t from, std::size_t end) {
  if (end < from + PAYLOAD_HEADER_BYTES) return;
  const std::uint64_t first = position + from;
  const std::uint64_t behind = position + end - PAYLOAD_HEADER_BYTES + 1;
  if (index->first.empty() || behind > index->start + MAX_PLACES) begin_anew(index, first);
  const std::uint64_t known = index->start + index->next.size();
  if (behind <= known) return;
  index->next.resize(behind - index->start, NONE);
  for (std::uint64_t place = std::max(known, first); place < behind; ++place) {
    const std::uint8_t* header = bytes + (place - position);
    if (!is_header_of_frames(header)) continue;
    append(index, read_header_kind(header), static_cast<std::uint32_t>(place - index->start));
  }
}

bool first_header(HeaderIndex* index, HeaderKind kind, std::uint64_t from, std::uint64_t* place) {
  if (index->first.empty()) return false;
  std::uint32_t& first = index->first[number_of_kind(kind)];
  while (first != NONE && index->start + first < from) first = index->next[first];
  *place = index->start + first;
  return first != NONE;
}

void forget_first_header(HeaderIndex* index, HeaderKind kind) {
  std::uint32_t& first = index->first[number_of_kind(kind)];
  first = index->next[first];
}

}  // namespace g719
