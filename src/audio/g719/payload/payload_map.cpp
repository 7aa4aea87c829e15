#include "payload/payload_map.h"

#include <algorithm>

namespace g719 {

namespace {

// Only streams that change all the time come this far; beyond, the map is a guess.
constexpr std::size_t MAX_RUNS = 1 << 20;

std::uint64_t end_offset(const PayloadRun& run) {
  return run.offset + run.payloads * run.payload_bytes;
}

std::uint64_t end_frame(const PayloadRun& run) {
  return run.frame + run.payloads * run.payload_frames;
}

// The last run that begins at `value` or before, by `member`; the first if none does.
const PayloadRun& find_run(const PayloadMap& map, std::uint64_t PayloadRun::*member,
                           std::uint64_t value) {
  const auto next =
      std::upper_bound(map.begin() + 1, map.end(), value,
                       [=](std::uint64_t v, const PayloadRun& run) { return v < run.*member; });
  return *(next - 1);
}

}  // namespace

void add_payload(PayloadMap* map, std::uint64_t offset, std::uint32_t bytes, std::uint32_t frames) {
  if (map->empty()) {
    map->push_back({offset, 0, bytes, frames, 1});
    return;
  }
  PayloadRun& last = map->back();
  if (offset < end_offset(last)) return;
  if (offset == end_offset(last) && bytes == last.payload_bytes && frames == last.payload_frames) {
    last.payloads++;
  } else if (map->size() < MAX_RUNS) {
    map->push_back({offset, end_frame(last), bytes, frames, 1});
  }
}

bool is_payload_border(const PayloadMap& map, std::uint64_t offset) {
  if (offset == 0) return true;
  if (map.empty() || offset < map.front().offset) return false;
  const PayloadRun& run = find_run(map, &PayloadRun::offset, offset);
  return offset <= end_offset(run) && (offset - run.offset) % run.payload_bytes == 0;
}

std::uint64_t frame_at_offset(const PayloadMap& map, std::uint64_t offset) {
  const PayloadRun& run = find_run(map, &PayloadRun::offset, offset);
  if (offset < run.offset) return run.frame;
  const std::uint64_t frame =
      run.frame + (offset - run.offset) / run.payload_bytes * run.payload_frames;
  return &run == &map.back() ? frame : std::min(frame, end_frame(run));
}

std::uint64_t offset_of_frame(const PayloadMap& map, std::uint64_t frame) {
  const PayloadRun& run = find_run(map, &PayloadRun::frame, frame);
  if (run.payload_frames == 0) return run.offset;
  return run.offset + (frame - run.frame) / run.payload_frames * run.payload_bytes;
}

}  // namespace g719
