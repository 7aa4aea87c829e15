// Prints the segmental SNR in dB of a decoded WAV file against the original, both 16 bit mono: the
// mean over segments of 20 ms, each held between -10 and 35 dB, silent ones left out; a dash when
// nothing is left.
//
//   segmental_snr ORIGINAL.wav DECODED.wav
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "g719.h"

namespace {

constexpr std::size_t SEGMENT = G719_FRAME_SAMPLES;
constexpr double SILENCE = 10.0 * 10.0;  // mean square: an RMS of 10 units

// The samples of the first data chunk. A file without one ends the program.
std::vector<std::int16_t> read_wav(const char* path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  std::size_t position = 12;  // "RIFF", size, "WAVE"
  while (position + 8 <= bytes.size()) {
    std::uint32_t size = 0;
    std::memcpy(&size, &bytes[position + 4], sizeof size);
    const std::size_t held = std::min<std::size_t>(size, bytes.size() - position - 8);
    if (bytes.compare(position, 4, "data") == 0) {
      std::vector<std::int16_t> samples(held / 2);
      std::memcpy(samples.data(), &bytes[position + 8], samples.size() * 2);
      return samples;
    }
    position += 8 + held + held % 2;
  }
  std::fprintf(stderr, "segmental_snr: %s is no WAV file\n", path);
  std::exit(1);
}

double power(const std::int16_t* signal, const std::int16_t* subtracted) {
  double sum = 0.0;
  for (std::size_t i = 0; i < SEGMENT; i++) {
    const double value = signal[i] - (subtracted != nullptr ? subtracted[i] : 0);
    sum += value * value;
  }
  return sum / static_cast<double>(SEGMENT);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: segmental_snr ORIGINAL.wav DECODED.wav\n");
    return 2;
  }
  const std::vector<std::int16_t> original = read_wav(argv[1]);
  const std::vector<std::int16_t> decoded = read_wav(argv[2]);
  double sum = 0.0;
  int segments = 0;
  for (std::size_t start = 0; start + SEGMENT <= std::min(original.size(), decoded.size());
       start += SEGMENT) {
    const double signal = power(&original[start], nullptr);
    if (signal < SILENCE) continue;
    const double noise = power(&original[start], &decoded[start]);
    sum += std::clamp(10.0 * std::log10(signal / std::max(noise, 1e-3)), -10.0, 35.0);
    segments++;
  }
  if (segments == 0) {
    std::puts("-");
  } else {
    std::printf("%.1f\n", sum / segments);
  }
  return 0;
}
