// The inspector prints any stream. The first byte chooses the options.
#define main inspect
#include "g719_dump.cpp"
#undef main

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const Options options = {.full = *data % 2 != 0, .csv = *data % 4 > 1};
  Progress progress;
  dump_stream({data + 1, data + size}, options, &progress);
  return 0;
}
