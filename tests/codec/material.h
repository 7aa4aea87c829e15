// What the tests share: material made with integers alone, so that every compiler and every machine
// makes the same, and the digests of what the codec makes of it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace codec_test {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::int16_t>;

inline constexpr int FRAME = 960;

// Low to high, both included; the distributions of <random> are not the same everywhere.
template <typename Engine, typename Int>
struct Uniform : Engine {
  using Engine::Engine;
  Int operator()(Int low, Int high) {
    return low + static_cast<Int>(Engine::operator()() % (std::uint64_t(high) - low + 1));
  }
};
using Random = Uniform<std::mt19937, int>;

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
void expect_recorded(const std::string& file, const std::string& name, const std::string& entries);

// A sine's parabola with peaks of +-32768 at n samples after its start.
inline int tone(int hertz, int n) {
  const int x = static_cast<std::int16_t>(static_cast<unsigned>(n) * (hertz * 89478U) >> 16);
  return x * (32768 - std::abs(x)) >> 13;
}

// Sample n of each signal.
inline int silence(int, Random&) { return 0; }
inline int tiny(int, Random& random) { return random(-1, 1); }
inline int noise(int, Random& random) { return random(-9000, 9000); }

// Syllables of 50 ms: voiced with 12 harmonics, a fricative and a pause by turns.
inline int speech(int n, Random& random) {
  const int envelope = std::min(n % 2400, 2400 - n % 2400);
  if (n / 2400 % 5 == 4) return 0;
  if (n / 2400 % 5 == 2) return random(-envelope, envelope);
  int sum = 0;
  for (int harmonic = 1; harmonic <= 12; ++harmonic) {
    sum += tone(harmonic * (110 + 17 * (n / 2400 % 4)), n) / harmonic;
  }
  return sum / 32 * envelope / 400;
}

// A chord of three notes with an overtone each every 100 ms, falling silent.
inline int music(int n, Random&) {
  int sum = 0;
  for (const int note : {220, 277, 330}) {
    sum += tone(note + 55 * (n / 4800), n) + tone(5 * note + 13 * (n / 4800), n) / 4;
  }
  return sum / 4 * ((4800 - n % 4800) / 16) / 300;
}

// Decaying bursts of 40 samples out of silence.
inline int clicks(int n, Random& random) {
  const int age = n % 2777;
  return age < 40 ? random(-30000, 30000) / (1 + age / 4) : 0;
}

// Runs of one of the two.
inline int extremes(int n, Random& random) {
  static int now = 0;
  if (n == 0 || random(0, 9) == 0) now = random(0, 1) == 0 ? -32768 : 32767;
  return now;
}

// Noise whose level changes by any factor, several times a frame.
inline int levels(int n, Random& random) {
  static int shift = 0;
  if (n == 0 || random(0, 249) == 0) shift = random(0, 15);
  return random(-32768, 32767) >> shift;
}

// Full scale and in step with one basis function of the long transform, another one every three
// frames: no other signal makes a coefficient as large.
inline int squares(int n, Random&) {
  const int k = n / (3 * FRAME) * 37 % FRAME;
  const int angle = (2 * (n % FRAME) + 1 + FRAME) * (2 * k + 1) % (8 * FRAME);
  return angle < 2 * FRAME || angle >= 6 * FRAME ? 32767 : -32768;
}

inline constexpr struct Signal {
  const char* name;
  int (*sample)(int n, Random& random);
} SIGNALS[] = {{"silence", silence},   {"tiny", tiny},     {"noise", noise},
               {"speech", speech},     {"music", music},   {"clicks", clicks},
               {"extremes", extremes}, {"levels", levels}, {"squares", squares}};

inline std::vector<Samples> make_signal(const Signal& signal, int frames, unsigned seed = 1) {
  Random random(seed);
  std::vector<Samples> input(frames, Samples(FRAME));
  for (int n = 0; n < frames * FRAME; ++n) {
    input[n / FRAME][n % FRAME] = std::clamp(signal.sample(n, random), -32768, 32767);
  }
  return input;
}

}  // namespace codec_test
