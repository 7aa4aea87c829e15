// Prints the signal-to-noise ratio of recorded signals at the encoder element's bitrates, and how
// many frames a second one core codes. Arguments: 48 kHz mono S16LE files.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "codec_fixture.h"

using namespace codec_test;

namespace {

constexpr int ROUNDS = 20;  // for the time; the first round's output is judged

Samples read_samples(const char* path) {
  Samples samples(std::filesystem::file_size(path) / (2 * FRAME) * FRAME);
  std::ifstream(path, std::ios::binary)
      .read(reinterpret_cast<char*>(samples.data()),
            static_cast<std::streamsize>(2 * samples.size()));
  return samples;
}

// Calls step(i) for every frame, ROUNDS times, and returns frames a second.
template <typename Step>
double frames_per_second(std::size_t frames, Step step) {
  const auto start = std::chrono::steady_clock::now();
  for (int round = 0; round < ROUNDS; ++round) {
    for (std::size_t i = 0; i < frames; ++i) step(i);
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  return ROUNDS * static_cast<double>(frames) / elapsed.count();
}

void print_quality(const char* path, const Samples& input, int bitrate) {
  const std::size_t frames = input.size() / FRAME;
  Encoder encoder(bitrate);
  Decoder decoder(bitrate);
  const std::size_t frame_bytes = encoder.frame_bytes();
  Bytes encoded;
  Samples decoded;
  for (std::size_t i = 0; i < frames; ++i) {
    const Bytes frame = encoder.encode(input.data() + i * FRAME);
    const Samples samples = decoder.decode(frame.data());
    encoded.insert(encoded.end(), frame.begin(), frame.end());
    decoded.insert(decoded.end(), samples.begin(), samples.end());
  }
  const double encode_rate = frames_per_second(frames, [&](std::size_t i) {
    g719_encoder_encode(encoder.get(), input.data() + i * FRAME, encoded.data() + i * frame_bytes);
  });
  Samples output(FRAME);
  const double decode_rate = frames_per_second(frames, [&](std::size_t i) {
    g719_decoder_decode(decoder.get(), encoded.data() + i * frame_bytes, output.data(), 0);
  });
  std::printf("%-16s %6d bit/s  %5.1f dB  encodes %6.0f, decodes %6.0f frames/s\n",
              std::filesystem::path(path).stem().c_str(), bitrate, snr_db(input, decoded),
              encode_rate, decode_rate);
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const Samples input = read_samples(argv[i]);
    for (const int bitrate : {32000, 48000, 64000}) print_quality(argv[i], input, bitrate);
  }
  return 0;
}
