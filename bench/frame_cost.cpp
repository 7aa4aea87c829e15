// Cost of one coder, in 20 ms of sound, on speech-like and music-like material.
//
//   frame_cost_NAME count FRAMES BITRATE [COMPLEXITY]
//     for valgrind --tool=callgrind --instr-atstart=no: instructions of FRAMES frames are dumped
//     for each material and direction, under the label that is printed with the 20 ms they hold
//   frame_cost_NAME time ROUNDS BITRATE [COMPLEXITY]
//     prints the least processor time of all rounds, in microseconds per 20 ms
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "coder.h"
#include "material.h"
#include "thread_time.h"

namespace {

constexpr int FIRST_FRAMES = 50;  // left out: memories fill, symbols resolve
constexpr int ROUND_SECONDS = 8;  // a whole number of frames for 480, 960 and 1024 samples

struct Stream {
  Coder* coder;
  const Material* material;
  int bitrate;
  std::vector<Packet> packets;
};

void encode_frames(Stream* stream, int first, int end) {
  for (int i = first; i < end; ++i) {
    const int offset = material_offset(i, CODER_FRAME_SAMPLES);
    coder_encode(stream->coder, stream->material->samples.data() + offset,
                 stream->material->float_samples.data() + offset,
                 &stream->packets[static_cast<std::size_t>(i)]);
  }
}

int decode_frames(Stream* stream, int first, int end) {
  int samples = 0;
  for (int i = first; i < end; ++i) {
    const Packet* const packet = &stream->packets[static_cast<std::size_t>(i)];
    if (packet->size > 0) samples += coder_decode(stream->coder, packet);
  }
  return samples;
}

// A coder that fails, or that codes something else than was asked, would look fast.
void check_stream(const Stream& stream, int first, int end, int decoded_samples) {
  double bits = 0;
  for (int i = first; i < end; ++i) bits += 8.0 * stream.packets[static_cast<std::size_t>(i)].size;
  const int samples = (end - first) * CODER_FRAME_SAMPLES;
  const double bitrate = bits * 48000 / samples;
  if (decoded_samples == samples && bitrate > 0.85 * stream.bitrate &&
      bitrate < 1.15 * stream.bitrate) {
    return;
  }
  std::fprintf(stderr, "%d samples in, %d out, at %.0f bit/s\n", samples, decoded_samples, bitrate);
  std::exit(1);
}

double to_20_ms(int frames) { return frames * CODER_FRAME_SAMPLES / 960.0; }

void count(Stream* stream, const char* name, int frames) {
  const int end = FIRST_FRAMES + frames;
  stream->packets.resize(static_cast<std::size_t>(end));
  char label[64];

  encode_frames(stream, 0, FIRST_FRAMES);
  CALLGRIND_START_INSTRUMENTATION;
  encode_frames(stream, FIRST_FRAMES, end);
  CALLGRIND_STOP_INSTRUMENTATION;
  std::snprintf(label, sizeof label, "%s encode", name);
  CALLGRIND_DUMP_STATS_AT(label);
  std::printf("%s %.4f\n", label, to_20_ms(frames));

  decode_frames(stream, 0, FIRST_FRAMES);
  CALLGRIND_START_INSTRUMENTATION;
  const int samples = decode_frames(stream, FIRST_FRAMES, end);
  CALLGRIND_STOP_INSTRUMENTATION;
  std::snprintf(label, sizeof label, "%s decode", name);
  CALLGRIND_DUMP_STATS_AT(label);
  std::printf("%s %.4f\n", label, to_20_ms(frames));
  check_stream(*stream, FIRST_FRAMES, end, samples);
}

void time_rounds(Stream* stream, const char* name, int rounds) {
  const int end = ROUND_SECONDS * MATERIAL_PERIOD / CODER_FRAME_SAMPLES;
  stream->packets.resize(static_cast<std::size_t>(end));
  double encode_best = std::numeric_limits<double>::max();
  double decode_best = encode_best;
  encode_frames(stream, 0, end);
  decode_frames(stream, 0, end);
  for (int round = 0; round < rounds; ++round) {
    const double start = thread_microseconds();
    encode_frames(stream, 0, end);
    const double middle = thread_microseconds();
    const int samples = decode_frames(stream, 0, end);
    const double stop = thread_microseconds();
    check_stream(*stream, 0, end, samples);
    encode_best = std::min(encode_best, middle - start);
    decode_best = std::min(decode_best, stop - middle);
  }
  std::printf("%s encode %.4f\n%s decode %.4f\n", name, encode_best / to_20_ms(end), name,
              decode_best / to_20_ms(end));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4 || (std::strcmp(argv[1], "count") != 0 && std::strcmp(argv[1], "time") != 0)) {
    std::fprintf(stderr, "usage: %s count|time AMOUNT BITRATE [COMPLEXITY]\n", argv[0]);
    return 2;
  }
  const int amount = std::atoi(argv[2]);
  const int bitrate = std::atoi(argv[3]);
  const int complexity = argc > 4 ? std::atoi(argv[4]) : 0;
  for (const char* const name : MATERIALS) {
    const Material material = load_material(name);
    Stream stream{coder_open(bitrate, complexity), &material, bitrate, {}};
    if (std::strcmp(argv[1], "count") == 0) {
      count(&stream, name, amount);
    } else {
      time_rounds(&stream, name, amount);
    }
  }
  return 0;
}
