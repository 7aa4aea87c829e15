// The inspector prints any stream. The first byte chooses the options.
#define VERSION ""
#define main inspect
#include "g719_dump.cpp"
#undef main

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const Options options = {.full = *data % 2 != 0, .csv = *data % 4 > 1};
  Progress progress = {.path = ""};
  std::FILE* file = fmemopen(const_cast<std::uint8_t*>(data) + 1, size - 1, "rb");
  dump_stream(file, options, &progress);
  std::fclose(file);
  return 0;
}
