#include "payload_finder.h"

#include "payload.h"

namespace g719 {

namespace {

enum class Belief : std::uint8_t { NO, YES, OPEN };

// Takes the bytes of a header, as the next two functions do.
bool is_header(const std::uint8_t* header) {
  return !toc_has_follower(header[0]) &&
         frame_bytes_of_length_code(length_code_of_toc(header[0])) > 0;
}

std::size_t promised_payload_bytes(const std::uint8_t* header) {
  const int frame_bytes = frame_bytes_of_length_code(length_code_of_toc(header[0]));
  return PAYLOAD_HEADER_BYTES + static_cast<std::size_t>(header[1]) * frame_bytes;
}

bool is_same_header(const std::uint8_t* a, const std::uint8_t* b) {
  return a[0] == b[0] && a[1] == b[1];
}

// Whether a payload begins with the first of these bytes, to someone who is out of step. The end of
// the stream is as good as a header that fits.
Belief judge_header(const std::uint8_t* bytes, std::size_t size, bool at_end,
                    std::uint8_t last_toc) {
  if (!is_header(bytes) || bytes[1] == 0) return Belief::NO;
  const int wanted = last_toc == 0 || last_toc == bytes[0] ? 1 : 2;
  std::size_t next = 0;
  for (int fitting = 1; fitting <= wanted; ++fitting) {
    next += promised_payload_bytes(bytes);
    if (at_end && next == size) return fitting == wanted ? Belief::YES : Belief::NO;
    if (next + PAYLOAD_HEADER_BYTES > size) return at_end ? Belief::NO : Belief::OPEN;
    if (!is_same_header(bytes, bytes + next)) return Belief::NO;
  }
  return Belief::YES;
}

}  // namespace

FoundPayload find_payload(const std::uint8_t* bytes, std::size_t size, bool at_end,
                          FinderState* state) {
  if (size < PAYLOAD_HEADER_BYTES) return {at_end ? size : 0, 0};

  const bool is_expected = state->in_step && is_header(bytes);
  if (is_expected && promised_payload_bytes(bytes) <= size) {
    state->toc = bytes[0];
    return {0, promised_payload_bytes(bytes)};
  }
  if (is_expected && !at_end) return {0, 0};

  // Where a header promises more than the stream holds, payloads may follow that it does not know
  // of: then it is the damaged one.
  std::size_t start = 0;
  for (; start + PAYLOAD_HEADER_BYTES <= size; ++start) {
    const Belief belief = judge_header(bytes + start, size - start, at_end, state->toc);
    if (belief == Belief::NO) continue;
    state->in_step = belief == Belief::YES;
    if (belief == Belief::OPEN) return {start, 0};
    state->toc = bytes[start];
    return {start, promised_payload_bytes(bytes + start)};
  }
  if (is_expected) return {0, size};
  state->in_step = false;
  return {at_end ? size : start, 0};
}

}  // namespace g719
