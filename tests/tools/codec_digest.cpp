// Prints a digest of encoded frames and decoded samples over generated material, a line for each
// bitrate. Every build of the codec must print the same.
#include <cstdio>

#include "codec_fixture.h"

using namespace codec_test;

namespace {

// FNV-1a.
class Digest {
 public:
  void add(const auto& values) {
    for (const auto value : values) {
      for (std::size_t byte = 0; byte < sizeof(value); ++byte) {
        hash_ = (hash_ ^ (static_cast<unsigned>(value) >> (8 * byte) & 0xFF)) * 0x100000001B3;
      }
    }
  }
  unsigned long long value() const { return hash_; }

 private:
  unsigned long long hash_ = 0xCBF29CE484222325;
};

// One bit of every third frame is wrong, and every tenth frame is lost.
void print_digest(int bitrate) {
  constexpr std::size_t FRAMES = 25;
  Digest encoded;
  Digest decoded;
  for (const Signal signal : SIGNALS) {
    const Samples input = make_signal(signal, FRAMES, static_cast<unsigned>(bitrate));
    Encoder encoder(bitrate);
    Decoder decoder(bitrate);
    for (std::size_t i = 0; i < FRAMES; ++i) {
      Bytes frame = encoder.encode(input.data() + i * FRAME);
      encoded.add(frame);
      if (i % 3 == 2) frame[7 * i % frame.size()] ^= static_cast<std::uint8_t>(1 << (i % 8));
      decoded.add(decoder.decode(frame.data(), i % 10 == 9));
    }
  }
  std::printf("%6d bit/s: encoded %016llx decoded %016llx\n", bitrate, encoded.value(),
              decoded.value());
}

}  // namespace

int main() {
  for (int bitrate = 32000; bitrate <= 128000; bitrate += 16000) print_digest(bitrate);
  return 0;
}
