// Digests of what the codec gives, and the text files that hold them: what must never change.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace codec_test {

// FNV-1a over values, each as 32 bits, low byte first, whatever its type and the machine's order.
class Digest {
 public:
  void add(std::int32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
      hash_ = (hash_ ^ (static_cast<std::uint32_t>(value) >> shift & 0xFF)) * 0x100000001B3;
    }
  }
  void add_all(const auto& values) {
    for (const auto value : values) add(value);
  }
  std::string text(int digits = 16) const {  // the last hexadecimal digits
    std::string text;
    while (digits-- > 0) text += "0123456789abcdef"[hash_ >> (4 * digits) & 15];
    return text;
  }

 private:
  std::uint64_t hash_ = 0xCBF29CE484222325;
};

// Holds the entries to the line "name entry entry ..." of tests/digests/FILE.txt and says which
// entry differs first.
void expect_recorded(const std::string& file, const std::string& name,
                     const std::vector<std::string>& entries);

}  // namespace codec_test
