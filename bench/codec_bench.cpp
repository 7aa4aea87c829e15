// Whole frames and single stages of the codec. Inputs are those of the frames of one second of
// material, in turn, so that branches are predicted no better than in a stream.
#include <benchmark/benchmark.h>

#include <array>
#include <string>

#include "g719.h"
#include "material.h"

namespace {

constexpr int FRAME_SAMPLES = 960;
constexpr int FRAMES = MATERIAL_PERIOD / FRAME_SAMPLES;
constexpr int BITRATES[] = {32000, 48000, 64000, 128000};

using Payload = std::array<std::uint8_t, 320>;

const std::int16_t* frame_samples(const Material& material, int frame) {
  return material.samples.data() + frame * FRAME_SAMPLES;
}

std::vector<Payload> encode_material(const Material& material, int bitrate) {
  std::vector<Payload> payloads(FRAMES);
  g719_encoder* const encoder = g719_encoder_create(bitrate);
  for (int i = 0; i < FRAMES; i++) {
    g719_encoder_encode(encoder, frame_samples(material, i),
                        payloads[static_cast<std::size_t>(i)].data());
  }
  g719_encoder_destroy(encoder);
  return payloads;
}

void encode_frames(benchmark::State& state, const Material* material, int bitrate) {
  g719_encoder* const encoder = g719_encoder_create(bitrate);
  Payload payload;
  int frame = 0;
  for (auto _ : state) {
    g719_encoder_encode(encoder, frame_samples(*material, frame), payload.data());
    benchmark::DoNotOptimize(payload);
    frame = (frame + 1) % FRAMES;
  }
  g719_encoder_destroy(encoder);
}

void decode_frames(benchmark::State& state, const Material* material, int bitrate) {
  const std::vector<Payload> payloads = encode_material(*material, bitrate);
  g719_decoder* const decoder = g719_decoder_create(bitrate);
  std::int16_t samples[FRAME_SAMPLES];
  std::size_t frame = 0;
  for (auto _ : state) {
    g719_decoder_decode(decoder, payloads[frame].data(), samples, 0);
    benchmark::DoNotOptimize(samples);
    frame = (frame + 1) % FRAMES;
  }
  g719_decoder_destroy(decoder);
}

void register_frames(const char* name, const Material* material) {
  for (const int bitrate : BITRATES) {
    const std::string suffix = std::string("/") + name + "/" + std::to_string(bitrate);
    benchmark::RegisterBenchmark(("frame_encode" + suffix).c_str(), encode_frames, material,
                                 bitrate);
    benchmark::RegisterBenchmark(("frame_decode" + suffix).c_str(), decode_frames, material,
                                 bitrate);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Material speech = load_material("speech");
  const Material music = load_material("music");
  register_frames("speech", &speech);
  register_frames("music", &music);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
