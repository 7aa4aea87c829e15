#include "payload/payload_finder.h"

#include <algorithm>

namespace g719 {

namespace {

// What is held of the stream.
struct Held {
  const std::uint8_t* bytes;
  std::size_t size;
  bool at_end;
};

bool is_header(const std::uint8_t* header) {
  const TocEntry entry = read_toc_entry(header);
  return !entry.has_follower && frame_bytes_of_length_code(entry.length_code) > 0;
}

std::size_t promised_payload_bytes(const std::uint8_t* header, const PayloadFinder* finder) {
  return payload_bytes(read_toc_entry(header), finder->channels);
}

struct Belief {
  bool is_believed;
  std::size_t wanted_bytes;  // of the stream to be held; 0: decided
};

// Whether a payload is believed to begin at `start`, out of step. The end of the stream is as good
// as a header that fits.
Belief judge_header(const Held& held, std::size_t start, const PayloadFinder* finder) {
  const std::uint8_t* header = held.bytes + start;
  if (!is_header_of_frames(header)) return {false, 0};
  const HeaderKind kind = read_header_kind(header);
  const HeaderKind last_kind = finder->last_kind;
  const bool is_toc_known = last_kind == HeaderKind{} || last_kind[0] == kind[0];
  const int wanted = is_toc_known ? 1 : 2;
  std::size_t next = start;
  for (int fitting = 1; fitting <= wanted; ++fitting) {
    next += promised_payload_bytes(header, finder);
    if (held.at_end && next == held.size) return {fitting == wanted, 0};
    const std::size_t needed = next + PAYLOAD_HEADER_BYTES;
    if (needed > held.size) return {false, held.at_end ? 0 : needed};
    if (kind != read_header_kind(held.bytes + next)) return {false, 0};
  }
  return {true, 0};
}

// Whether a header like the last one can be believed inside the payload that another header, the
// one at `start`, promises.
Belief judge_hidden_headers(const Held& held, std::size_t start, PayloadFinder* finder) {
  const HeaderKind kind = finder->last_kind;
  const std::uint8_t* header = held.bytes + start;
  if (kind == HeaderKind{} || kind == read_header_kind(header)) return {false, 0};
  const std::size_t first = start + PAYLOAD_HEADER_BYTES;
  const std::size_t end = std::min(start + promised_payload_bytes(header, finder), held.size);
  add_headers(&finder->ahead, held.bytes, finder->position, first, end);
  std::uint64_t place = 0;
  while (first_header(&finder->ahead, kind, finder->position + first, &place)) {
    const std::size_t hidden = place - finder->position;
    if (hidden + PAYLOAD_HEADER_BYTES > end) break;
    const Belief belief = judge_header(held, hidden, finder);
    if (belief.is_believed || belief.wanted_bytes > 0) return belief;
    forget_first_header(&finder->ahead, kind);
  }
  return {false, 0};
}

// The same as judge_header(), but a header that hides others is not believed.
Belief judge_candidate(const Held& held, std::size_t start, PayloadFinder* finder) {
  const Belief belief = judge_header(held, start, finder);
  if (!belief.is_believed && belief.wanted_bytes == 0) return belief;
  const Belief hidden = judge_hidden_headers(held, start, finder);
  if (hidden.is_believed) return {false, 0};
  return hidden.wanted_bytes > 0 ? hidden : belief;
}

// What to ask for when `wanted` bytes decide. The caller may have to copy all bytes held for each
// call; if every call adds at least a quarter, the copies stay linear in total. No more than twice
// as many: payloads that follow may decide earlier.
FoundPayload want_to_decide(std::size_t wanted, const Held& held) {
  return {0, 0, std::clamp(wanted, held.size + held.size / 4, 2 * held.size)};
}

// The payload that the bytes begin with.
FoundPayload take(const Held& held, std::size_t bytes, PayloadFinder* finder) {
  finder->in_step = true;
  if (is_header_of_frames(held.bytes)) finder->last_kind = read_header_kind(held.bytes);
  return {0, bytes, 0};
}

FoundPayload search(const Held& held, PayloadFinder* finder) {
  finder->in_step = false;
  std::size_t start = 0;
  for (; start + PAYLOAD_HEADER_BYTES <= held.size; ++start) {
    const Belief belief = judge_candidate(held, start, finder);
    if (!belief.is_believed && belief.wanted_bytes == 0) continue;
    if (start > 0) return {start, 0, 0};
    if (!belief.is_believed) return want_to_decide(belief.wanted_bytes, held);
    return take(held, promised_payload_bytes(held.bytes, finder), finder);
  }
  return {held.at_end ? held.size : start, 0, 0};
}

FoundPayload go_on(const Held& held, PayloadFinder* finder) {
  const std::size_t promised = promised_payload_bytes(held.bytes, finder);
  const Belief hidden = judge_hidden_headers(held, 0, finder);
  if (hidden.wanted_bytes > 0) return want_to_decide(hidden.wanted_bytes, held);
  if (hidden.is_believed) return search(held, finder);
  if (promised <= held.size) return take(held, promised, finder);
  if (!held.at_end) return {0, 0, std::min(promised, 2 * held.size)};
  // A header that promises more than the stream holds is the damaged one, too, if payloads follow
  // that it does not know of. Otherwise it is that of the last payload, which is cut short.
  const FoundPayload found = search(held, finder);
  return found.skipped_bytes == held.size ? take(held, held.size, finder) : found;
}

// Whether the bytes may begin with a payload that stands for lost frames: it has no bytes that
// speak for it.
bool is_header_without_data(const std::uint8_t* header) {
  const TocEntry entry = read_toc_entry(header);
  return entry.length_code == NO_DATA_LENGTH_CODE && !entry.has_follower && entry.blocks > 0;
}

// In step, it is believed if another one follows, or a payload like the last, or nothing.
FoundPayload go_on_without_data(const Held& held, PayloadFinder* finder) {
  const std::uint8_t* next = held.bytes + PAYLOAD_HEADER_BYTES;
  if (held.at_end && held.size == PAYLOAD_HEADER_BYTES) return take(held, held.size, finder);
  if (held.size < 2 * PAYLOAD_HEADER_BYTES) {
    if (!held.at_end) return {0, 0, 2 * PAYLOAD_HEADER_BYTES};
    return search(held, finder);
  }
  const bool is_like_last = finder->last_kind == read_header_kind(next);
  if (!is_like_last && !is_header_without_data(next)) return search(held, finder);
  return take(held, PAYLOAD_HEADER_BYTES, finder);
}

}  // namespace

FoundPayload find_payload(const std::uint8_t* bytes, std::size_t size, bool at_end,
                          PayloadFinder* finder) {
  const Held held = {bytes, size, at_end};
  FoundPayload found = {};
  if (size < PAYLOAD_HEADER_BYTES) {
    (at_end ? found.skipped_bytes : found.wanted_bytes) = at_end ? size : PAYLOAD_HEADER_BYTES;
  } else if (finder->in_step && finder->last_kind != HeaderKind{} &&
             is_header_without_data(bytes)) {
    found = go_on_without_data(held, finder);
  } else {
    found = finder->in_step && is_header(bytes) ? go_on(held, finder) : search(held, finder);
  }
  finder->position += found.skipped_bytes + found.payload_bytes;
  return found;
}

}  // namespace g719
