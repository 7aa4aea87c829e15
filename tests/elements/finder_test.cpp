// The payload finder by itself, with the fuzzer's body: however the stream is cut, and with a
// bounded number of looks at each byte.
#define g719 g719_counted
#include "finder.cpp"

#include <filesystem>

#include "support.h"

namespace {

void check(const std::string& stream) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(stream.data()), stream.size());
}

// Any byte is lost but those of the first payload and the last three: all but two payloads are
// left.
TEST(Finder, OneByteMissing) {
  for (const auto& file : std::filesystem::directory_iterator("vectors")) {
    if (file.path().extension() != ".g719") continue;
    const std::string mono = contents(file.path());
    for (int channels : {1, 2}) {
      const std::string stream = channels == 1 ? mono : in_two_channels(mono);
      const gsize size = stream.size() / 50;
      for (gsize lost = size; lost < stream.size() - 3 * size; lost += 12 * channels - 11) {
        const std::string damaged = stream.substr(0, lost) + stream.substr(lost + 1);
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(damaged.data());
        gsize intact = 0;
        for (const auto& [offset, count] :
             find_all(bytes, damaged.size(), damaged.size(), channels)) {
          const gsize place = offset + (offset > lost ? 1 : 0);
          intact += place % size == 0 && (place > lost || place + count <= lost);
        }
        EXPECT_GE(intact, 48U) << file.path() << " without byte " << lost;
        if (lost % 97 == 0) check(static_cast<char>(lost) + damaged);
      }
    }
  }
}

// In front of three payloads of each kind stands a header that promises the most bytes and so hides
// the next ones of that kind. They are looked for again and again, but not by reading on.
TEST(Finder, ReadsNothingAgainAndAgain) {
  for (int channels : {1, 2}) {
    std::string stream = {static_cast<char>(0xfd + channels), '\x20', 1};
    stream.append(80 * channels, '\x80');
    while (stream.size() < 300000U * channels) {
      for (int toc = 0x20; toc < 0x70; toc++) {
        const std::string header = {static_cast<char>(toc), 1};
        const std::string frame(channels * g719::frame_bytes_of_length_code(toc / 4), '\x80');
        stream += "\x6c\xff" + header + frame + header + frame + header + frame;
      }
    }
    check(stream);
  }
}

}  // namespace
