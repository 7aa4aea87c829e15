// The payload finder by itself, compiled once more with a count of the headers that it reads.
#include <filesystem>

#include "support.h"

#define g719 g719_counted
#include "payload/toc_entry.h"
static gsize looks;
#define read_toc_entry(header) (looks++, read_toc_entry(header))
#include "payload/header_index.cpp"
#include "payload/payload_finder.cpp"

namespace {

using Payload = std::pair<gsize, gsize>;  // offset, size

std::vector<Payload> find_all(const std::string& stream) {
  std::vector<Payload> found;
  g719::PayloadFinder finder;
  for (gsize position = 0; position < stream.size(); position = finder.position) {
    const auto next = g719::find_payload(reinterpret_cast<const guint8*>(&stream[position]),
                                         stream.size() - position, true, &finder);
    if (next.payload_bytes > 0) found.emplace_back(position, next.payload_bytes);
  }
  return found;
}

// Any byte is lost but those of the first payload and the last three: all but two payloads are
// left.
TEST(Finder, OneByteMissing) {
  for (const auto& file : std::filesystem::directory_iterator("vectors")) {
    if (file.path().extension() != ".g719") continue;
    const std::string stream = contents(file.path());
    const gsize size = stream.size() / 50;
    for (gsize lost = size; lost < stream.size() - 3 * size; lost++) {
      const std::string damaged = stream.substr(0, lost) + stream.substr(lost + 1);
      gsize intact = 0;
      for (const auto& [offset, bytes] : find_all(damaged)) {
        const gsize place = offset + (offset > lost ? 1 : 0);
        intact += place % size == 0 && (place > lost || place + bytes <= lost);
      }
      EXPECT_GE(intact, 48U) << file.path() << " without byte " << lost;
    }
  }
}

// In front of three payloads of each kind stands a header that promises 81,600 bytes and so hides
// the next ones of that kind. They are looked for again and again, but not by reading on.
TEST(Finder, ReadsNothingAgainAndAgain) {
  std::string stream = "\x20\x01" + std::string(80, '\x80');
  while (stream.size() < 500000) {
    for (int toc = 0x20; toc < 0x70; toc++) {
      const std::string header = {static_cast<char>(toc), 1};
      const std::string frame(g719::frame_bytes_of_length_code(toc / 4), '\x80');
      stream += "\x6c\xff" + header + frame + header + frame + header + frame;
    }
  }
  looks = 0;
  EXPECT_EQ(find_all(stream).size(), 1U + 12 * 80 * 3);
  EXPECT_LT(looks, 10 * stream.size());
}

}  // namespace
