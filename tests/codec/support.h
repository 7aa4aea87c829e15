// What the tests of the codec share: material, instances, and digests of what must never change.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "g719.h"

namespace codec_test {

// Material is made with integers alone: every compiler and every machine makes the same.

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::int16_t>;

inline constexpr int FRAME = 960;

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  // Low to high, both included.
  int operator()(int low, int high) {
    return low + static_cast<int>(engine_() % (static_cast<unsigned>(high - low) + 1));
  }

 private:
  std::mt19937 engine_;  // the distributions of <random> are not the same everywhere
};

// A sine's parabola with peaks of +-32768 at n samples after its start.
inline int tone(int hertz, int n) {
  const int x = static_cast<std::int16_t>(static_cast<unsigned>(n) * (hertz * 89478U) >> 16);
  return x * (32768 - std::abs(x)) >> 13;
}

struct Signal {
  const char* name;
  int (*sample)(int n, Random& random);
};
inline constexpr Signal SIGNALS[] = {
    {"silence", [](int, Random&) { return 0; }},
    {"tiny", [](int, Random& random) { return random(-1, 1); }},
    {"noise", [](int, Random& random) { return random(-9000, 9000); }},
    {"speech",  // syllables of 50 ms: voiced with 12 harmonics, a fricative and a pause by turns
     [](int n, Random& random) {
       const int envelope = std::min(n % 2400, 2400 - n % 2400);
       if (n / 2400 % 5 == 4) return 0;
       if (n / 2400 % 5 == 2) return random(-envelope, envelope);
       int sum = 0;
       for (int harmonic = 1; harmonic <= 12; ++harmonic) {
         sum += tone(harmonic * (110 + 17 * (n / 2400 % 4)), n) / harmonic;
       }
       return sum / 32 * envelope / 400;
     }},
    {"music",  // a chord of three notes with an overtone each every 100 ms, falling silent
     [](int n, Random&) {
       int sum = 0;
       for (const int note : {220, 277, 330}) {
         sum += tone(note + 55 * (n / 4800), n) + tone(5 * note + 13 * (n / 4800), n) / 4;
       }
       return sum / 4 * ((4800 - n % 4800) / 16) / 300;
     }},
    {"clicks",  // decaying bursts of 40 samples out of silence
     [](int n, Random& random) {
       const int age = n % 2777;
       return age < 40 ? random(-30000, 30000) / (1 + age / 4) : 0;
     }},
    {"extremes",  // runs of one of the two
     [](int n, Random& random) {
       static int now = 0;
       if (n == 0 || random(0, 9) == 0) now = random(0, 1) == 0 ? -32768 : 32767;
       return now;
     }},
    {"levels",  // noise whose level changes by any factor, several times a frame
     [](int n, Random& random) {
       static int shift = 0;
       if (n == 0 || random(0, 249) == 0) shift = random(0, 15);
       return random(-32768, 32767) >> shift;
     }},
    {"squares",  // full scale and in step with one basis function of the long transform, another
                 // one every three frames: no other signal makes a coefficient as large
     [](int n, Random&) {
       const int k = n / (3 * FRAME) * 37 % FRAME;
       const int angle = (2 * (n % FRAME) + 1 + FRAME) * (2 * k + 1) % (8 * FRAME);
       return angle < 2 * FRAME || angle >= 6 * FRAME ? 32767 : -32768;
     }},
};

inline Samples make_signal(const Signal& signal, int frames, unsigned seed = 1) {
  Random random(seed);
  Samples samples;
  for (int n = 0; n < frames * FRAME; ++n) {
    const int sample = std::clamp(signal.sample(n, random), -32768, 32767);
    samples.push_back(static_cast<std::int16_t>(sample));
  }
  return samples;
}

// Codec instances: owned, and with vectors for arrays.

struct Release {
  void operator()(g719_encoder* encoder) const { g719_encoder_destroy(encoder); }
  void operator()(g719_decoder* decoder) const { g719_decoder_destroy(decoder); }
};

inline std::vector<Bytes> encode_all(int bitrate, const Samples& input) {
  const std::unique_ptr<g719_encoder, Release> encoder(g719_encoder_create(bitrate));
  std::vector<Bytes> frames(input.size() / FRAME, Bytes(encoder->frame_bytes));
  for (std::size_t i = 0; i < frames.size(); ++i) {
    g719_encoder_encode(encoder.get(), input.data() + i * FRAME, frames[i].data());
  }
  return frames;
}

inline std::vector<Samples> decode_all(int bitrate, const std::vector<Bytes>& frames,
                                       const std::set<int>& lost) {
  const std::unique_ptr<g719_decoder, Release> decoder(g719_decoder_create(bitrate));
  std::vector<Samples> samples(frames.size(), Samples(FRAME));
  for (std::size_t i = 0; i < frames.size(); ++i) {
    g719_decoder_decode(decoder.get(), frames[i].data(), samples[i].data(), lost.contains(i));
  }
  return samples;
}

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
