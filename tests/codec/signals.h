// Test signals made with integers alone: every compiler and every machine makes the same ones.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

namespace codec_test {

using Samples = std::vector<std::int16_t>;

inline constexpr std::size_t FRAME = 960;

enum class Signal { SPEECH, MUSIC, SILENCE, NOISE, CLICKS, FULL_SCALE, TINY, COMB };
inline constexpr std::array SIGNALS = {Signal::SPEECH, Signal::MUSIC,  Signal::SILENCE,
                                       Signal::NOISE,  Signal::CLICKS, Signal::FULL_SCALE,
                                       Signal::TINY,   Signal::COMB};

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
inline int tone(int hertz, std::size_t n) {
  const auto phase = static_cast<std::uint32_t>(n) * (static_cast<std::uint32_t>(hertz) * 89478U);
  const int x = static_cast<std::int16_t>(phase >> 16);
  return x * (32768 - std::abs(x)) >> 13;
}

// Syllables of 200 ms: voiced ones with 12 harmonics, a fricative and a pause by turns.
inline int speech_sample(std::size_t n, Random& random) {
  const std::size_t syllable = n / 9600;
  const auto within = static_cast<int>(n % 9600);
  const int envelope = std::min(within, 9600 - within);
  if (syllable % 5 == 4) return 0;
  if (syllable % 5 == 2) return random(-envelope / 2, envelope / 2);
  const int pitch = 110 + 17 * static_cast<int>(syllable % 4);
  int sum = 0;
  for (int harmonic = 1; harmonic <= 12; ++harmonic) sum += tone(harmonic * pitch, n) / harmonic;
  return sum / 32 * envelope / 1600;
}

// A chord of three notes with an overtone each every 400 ms, falling silent.
inline int music_sample(std::size_t n) {
  const auto chord = static_cast<int>(n / 19200 % 4);
  const auto age = static_cast<int>(n % 19200);
  int sum = 0;
  for (const int note : {220, 277, 330}) {
    sum += tone(note + 55 * chord, n) + tone(5 * note + 13 * chord, n) / 4;
  }
  return sum / 4 * ((19200 - age) / 64) / 300;
}

// Decaying bursts of 40 samples out of silence.
inline int click_sample(std::size_t n, Random& random) {
  const auto age = static_cast<int>(n % 2777);
  return age < 40 ? random(-30000, 30000) / (1 + age / 4) : 0;
}

// A tone in the middle of every second band: the most jagged envelope.
inline int comb_sample(std::size_t n) {
  int sum = 0;
  for (int hertz = 100; hertz < 3200; hertz += 400) sum += tone(hertz, n);
  for (int hertz = 3400; hertz < 6400; hertz += 800) sum += tone(hertz, n);
  for (int hertz = 6700; hertz < 13600; hertz += 1200) sum += tone(hertz, n);
  for (int hertz = 14000; hertz < 20000; hertz += 1600) sum += tone(hertz, n);
  return sum / 24;
}

inline Samples make_signal(Signal signal, std::size_t frames, unsigned seed = 1) {
  Random random(seed);
  Samples samples(frames * FRAME);
  for (std::size_t n = 0; n < samples.size(); ++n) {
    int sample = 0;
    switch (signal) {
      case Signal::SPEECH:
        sample = speech_sample(n, random);
        break;
      case Signal::MUSIC:
        sample = music_sample(n);
        break;
      case Signal::SILENCE:
        break;
      case Signal::NOISE:
        sample = random(-9000, 9000);
        break;
      case Signal::CLICKS:
        sample = click_sample(n, random);
        break;
      case Signal::FULL_SCALE:  // runs of one extreme
        sample =
            n == 0 || random(0, 9) == 0 ? (random(0, 1) == 0 ? -32768 : 32767) : samples[n - 1];
        break;
      case Signal::TINY:
        sample = random(-1, 1);
        break;
      case Signal::COMB:
        sample = comb_sample(n);
        break;
    }
    samples[n] = static_cast<std::int16_t>(std::clamp(sample, -32768, 32767));
  }
  return samples;
}

// Signal to noise in dB of a decoded stream, which lags its input by one frame.
inline double snr_db(const Samples& input, const Samples& decoded) {
  double signal = 0;
  double noise = 0;
  for (std::size_t n = FRAME; n < decoded.size(); ++n) {
    signal += std::pow(input[n - FRAME], 2);
    noise += std::pow(input[n - FRAME] - decoded[n], 2);
  }
  return 10 * std::log10(signal / noise);
}

}  // namespace codec_test
