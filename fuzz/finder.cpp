// The same payloads are found in any stream however it comes, no byte twice. The first byte chooses
// the size of the blocks.
#include "payload/payload_finder.h"

#include "input.h"

using Payloads = std::vector<std::pair<std::size_t, std::size_t>>;  // offset, size

// In blocks, or in blocks of 0: as many bytes as were wanted.
static Payloads find_all(const std::uint8_t* stream, std::size_t size, std::size_t block) {
  Payloads found;
  g719::FinderState state;
  std::size_t start = 0, end = 0, wanted_end = 0;
  while (start < size) {
    end = std::min(size, block > 0 ? end + block : wanted_end);
    const std::vector<std::uint8_t> held(stream + start, stream + end);
    std::size_t taken = 0;
    for (g719::FoundPayload next = {0, 1, 0}; next.payload_bytes > 0;) {
      next = g719::find_payload(held.data() + taken, held.size() - taken, end == size, &state);
      taken += next.skipped_bytes;
      if (next.payload_bytes > 0) found.emplace_back(start + taken, next.payload_bytes);
      taken += next.payload_bytes;
      assert(taken <= held.size());
      if (next.payload_bytes == 0) wanted_end = start + taken + next.wanted_bytes;
    }
    start += taken;
    assert(end == size ? start == size : wanted_end > end);
  }
  return found;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input = {data, size};
  const std::size_t block = 1 + input.byte() * 8;
  const Payloads found = find_all(input.data, input.size, input.size);
  assert(find_all(input.data, input.size, block) == found);
  assert(find_all(input.data, input.size, 0) == found);
  return 0;
}
