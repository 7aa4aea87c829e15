// The same payloads are found in any stream however it comes, no byte twice, with a bounded number
// of looks at each. The first byte chooses the size of the blocks and the
// number of channels.
#include "payload/toc_entry.h"

static std::size_t looks;
#define read_toc_entry(header) (looks++, read_toc_entry(header))
#include "payload/header_index.cpp"
#include "payload/payload_finder.cpp"
#undef read_toc_entry

#include "input.h"

using Payloads = std::vector<std::pair<std::size_t, std::size_t>>;  // offset, size

// In blocks, or in blocks of 0: as many bytes as are wanted.
static Payloads find_all(const std::uint8_t* stream, std::size_t size, std::size_t block,
                         int channels) {
  Payloads found;
  g719::PayloadFinder finder = {.channels = channels};
  std::size_t start = 0, end = 0, wanted_end = 1, calls = 0;
  for (looks = 0; start < size;) {
    end = std::min(size, block > 0 ? end + block : wanted_end);
    const std::vector<std::uint8_t> held(stream + start, stream + end);
    for (std::size_t taken = 0, wanted = 0; start < end && wanted == 0; calls++) {
      const auto next =
          g719::find_payload(held.data() + taken, held.size() - taken, end == size, &finder);
      assert((next.skipped_bytes > 0) + (next.payload_bytes > 0) + (next.wanted_bytes > 0) == 1);
      if (next.payload_bytes > 0) found.emplace_back(start, next.payload_bytes);
      taken += next.skipped_bytes + next.payload_bytes;
      start += next.skipped_bytes + next.payload_bytes;
      wanted = next.wanted_bytes;
      wanted_end = start + std::max<std::size_t>(wanted, 1);
      assert(start <= end && (wanted == 0 || (end < size && wanted_end > end)));
    }
  }
  assert(looks <= 20 * (size + calls));
  return found;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input = {data, size};
  const int choice = input.byte(), channels = 1 + choice % 2;
  const std::size_t block = 1 + choice / 2 * 16;
  const Payloads found = find_all(input.data, input.size, input.size, channels);
  assert(find_all(input.data, input.size, block, channels) == found);
  assert(find_all(input.data, input.size, 0, channels) == found);
  return 0;
}
