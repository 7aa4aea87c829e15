#include "payload/payload_finder.h"

#include <algorithm>

#include "payload/payload.h"

namespace g719 {

namespace {

// Takes the bytes of a header, as the next two functions do.
bool is_header(const std::uint8_t* header) {
  const TocEntry entry = read_toc_entry(header);
  return !entry.has_follower && frame_bytes_of_length_code(entry.length_code) > 0;
}

std::size_t promised_payload_bytes(const std::uint8_t* header) {
  return payload_bytes(read_toc_entry(header));
}

bool is_same_header(const std::uint8_t* a, const std::uint8_t* b) {
  return a[0] == b[0] && a[1] == b[1];
}

struct Belief {
  bool is_believed;
  std::size_t wanted_bytes;  // 0: decided
};

// Whether a payload begins with the first of these bytes, to someone who is out of step. The end of
// the stream is as good as a header that fits.
Belief judge_header(const std::uint8_t* bytes, std::size_t size, bool at_end,
                    std::uint8_t last_toc) {
  if (!is_header(bytes) || bytes[1] == 0) return {false, 0};
  const int wanted = last_toc == 0 || last_toc == bytes[0] ? 1 : 2;
  std::size_t next = 0;
  for (int fitting = 1; fitting <= wanted; ++fitting) {
    next += promised_payload_bytes(bytes);
    if (at_end && next == size) return {fitting == wanted, 0};
    const std::size_t needed = next + PAYLOAD_HEADER_BYTES;
    if (needed > size) return {false, at_end ? 0 : needed};
    if (!is_same_header(bytes, bytes + next)) return {false, 0};
  }
  return {true, 0};
}

// Whether a header like the last one can be believed inside the payload that another header, the
// one at `start`, promises. `seen` is how far earlier calls for the same bytes looked in vain.
Belief judge_hidden_headers(const std::uint8_t* bytes, std::size_t size, bool at_end,
                            std::size_t start, const FinderState& last, std::size_t* seen) {
  const std::uint8_t header[] = {last.toc, last.count};
  if (last.toc == 0 || is_same_header(bytes + start, header)) return {false, 0};
  const std::size_t end = std::min(start + promised_payload_bytes(bytes + start), size);
  for (*seen = std::max(*seen, start + PAYLOAD_HEADER_BYTES); *seen + PAYLOAD_HEADER_BYTES <= end;
       ++*seen) {
    if (!is_same_header(bytes + *seen, header)) continue;
    const Belief belief = judge_header(bytes + *seen, size - *seen, at_end, last.toc);
    if (belief.wanted_bytes > 0) return {false, *seen - start + belief.wanted_bytes};
    if (belief.is_believed) return belief;
  }
  return {false, 0};
}

// What is asked for when `wanted` bytes decide and less than that is held. Every call sees all held
// bytes again; each shall see a quarter more, so that the sum stays linear. No more than twice as
// much: payloads that follow may decide earlier.
std::size_t with_margin(std::size_t wanted, std::size_t held) {
  return std::clamp(wanted, held + held / 4, 2 * held);
}

// The payload of `size` bytes behind those skipped, with which the finder is in step.
FoundPayload take_payload(const std::uint8_t* bytes, std::size_t skipped, std::size_t size,
                          FinderState* state) {
  state->in_step = true;
  const std::uint8_t* header = bytes + skipped;
  if (header[1] > 0) {
    state->toc = header[0];
    state->count = header[1];
  }
  return {skipped, size, 0};
}

}  // namespace

FoundPayload find_payload(const std::uint8_t* bytes, std::size_t size, bool at_end,
                          FinderState* state) {
  if (size < PAYLOAD_HEADER_BYTES) return {at_end ? size : 0, 0, PAYLOAD_HEADER_BYTES};

  std::size_t seen = 0;
  const bool is_expected = state->in_step && is_header(bytes);
  if (is_expected) {
    const std::size_t promised = promised_payload_bytes(bytes);
    const Belief hidden = judge_hidden_headers(bytes, size, at_end, 0, *state, &seen);
    if (hidden.wanted_bytes > 0) return {0, 0, with_margin(hidden.wanted_bytes, size)};
    const bool hides_payloads = hidden.is_believed;
    if (promised <= size && !hides_payloads) return take_payload(bytes, 0, promised, state);
    if (!at_end && !hides_payloads) return {0, 0, std::min(promised, 2 * size)};
  }

  // Out of step. A header that promises more than the stream holds is the damaged one, too, if
  // payloads follow that it does not know of.
  std::size_t start = 0;
  for (; start + PAYLOAD_HEADER_BYTES <= size; ++start) {
    const Belief belief = judge_header(bytes + start, size - start, at_end, state->toc);
    if (!belief.is_believed && belief.wanted_bytes == 0) continue;
    const Belief hidden = judge_hidden_headers(bytes, size, at_end, start, *state, &seen);
    if (hidden.is_believed) continue;
    const std::size_t wanted = hidden.wanted_bytes > 0 ? hidden.wanted_bytes : belief.wanted_bytes;
    if (wanted > 0) {
      state->in_step = false;
      return {start, 0, with_margin(wanted, size - start)};
    }
    return take_payload(bytes, start, promised_payload_bytes(bytes + start), state);
  }
  // The last payload, cut short.
  if (is_expected) return take_payload(bytes, 0, size, state);
  state->in_step = false;
  return {at_end ? size : start, 0, PAYLOAD_HEADER_BYTES};
}

}  // namespace g719
