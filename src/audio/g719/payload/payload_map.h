// Where the payloads of a stream lie, and when their audio begins: for all that was read from the
// start without a break, and as more of the last kind beyond that.
#pragma once

#include <cstdint>
#include <vector>

namespace g719 {

// Payloads back to back that have the same size and frame count.
struct PayloadRun {
  std::uint64_t offset;  // of its first payload, in bytes
  std::uint64_t frame;   // number of its first frame
  std::uint32_t payload_bytes;
  std::uint32_t payload_frames;
  std::uint64_t payloads;
};

using PayloadMap = std::vector<PayloadRun>;

// Adds a payload that begins at `offset`, unless the map knows that place.
void add_payload(PayloadMap* map, std::uint64_t offset, std::uint32_t bytes, std::uint32_t frames);

// Whether a payload of the map begins at `offset`. The start of the stream is as good as one.
bool is_payload_border(const PayloadMap& map, std::uint64_t offset);

// The first frame of the payload that holds the byte at `offset`, or of the next one if none does.
// The map is not empty, nor is it below.
std::uint64_t frame_at_offset(const PayloadMap& map, std::uint64_t offset);

// Where the payload begins that holds `frame`.
std::uint64_t offset_of_frame(const PayloadMap& map, std::uint64_t frame);

}  // namespace g719
