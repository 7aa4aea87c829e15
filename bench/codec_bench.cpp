// Whole frames and single stages of the codec. Inputs are those of the frames of one second of
// material, in turn, so that branches are predicted no better than in a stream. Stages are taken at
// 64000 bit/s; those that use up their input pay for a copy of it, about 0.05 µs.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <string>

#include "envelope/band_norms.h"
#include "envelope/bit_allocation.h"
#include "envelope/spectrum_decoder.h"
#include "envelope/spectrum_encoder.h"
#include "g719.h"
#include "lattice/lattice_encoder.h"
#include "lattice/noise.h"
#include "material.h"
#include "stage_inputs.h"
#include "transform/analysis_window.h"
#include "transform/dct4.h"
#include "transform/fft120.h"
#include "transform/forward_transform.h"
#include "transform/inverse_transform.h"
#include "transform/sums.h"
#include "transform/synthesis.h"
#include "transform/transient_detector.h"

using namespace g719;

namespace {

constexpr int FRAMES = MATERIAL_PERIOD / FRAME_SAMPLES;
constexpr int BITRATES[] = {32000, 48000, 64000, 128000};

using Payload = std::array<std::uint8_t, MAX_FRAME_BITS / 8>;

const std::int16_t* frame_samples(const Material& material, int frame) {
  return material.samples.data() + frame * FRAME_SAMPLES;
}

std::vector<Payload> encode_material(const Material& material, int bitrate) {
  std::vector<Payload> payloads(FRAMES);
  g719_encoder* const encoder = g719_encoder_create(bitrate);
  for (int i = 0; i < FRAMES; ++i) {
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

// What the stages write.
struct StageOutputs {
  g719_encoder_state encoder;
  g719_decoder_state decoder;
  Word32 work[FRAME_SAMPLES];
  Word32 values[2 * FRAME_SAMPLES];
  Word16 bitstream[2 * MAX_FRAME_BITS];
  Word16 coefs[NUM_CODED_COEFS];
  Word16 indices[NUM_CODED_COEFS];
  Word16 bands[3][NUM_BANDS];
  Word16 samples[FRAME_SAMPLES];
};

using Stage = void (*)(const StageInputs& in, StageOutputs* out);

Word32* work_copy(const Word32* values, StageOutputs* out) {
  return std::copy_n(values, FRAME_SAMPLES, out->work) - FRAME_SAMPLES;
}

struct NamedStage {
  const char* name;
  Stage run;
};

// In the order of a frame's life; the last ones are parts of those above them.
constexpr NamedStage STAGES[] = {
    {"detect_transient",
     [](const StageInputs& in, StageOutputs* out) { detect_transient(in.samples, &out->encoder); }},
    {"window_and_fold",
     [](const StageInputs& in, StageOutputs* out) {
       window_and_fold(in.samples, out->values, out->encoder.analysis_memory);
     }},
    {"forward_transform, long",
     [](const StageInputs& in, StageOutputs* out) {
       forward_transform(in.folded, out->values, 0);
     }},
    {"forward_transform, short",
     [](const StageInputs& in, StageOutputs* out) {
       forward_transform(in.folded, out->values, 1);
     }},
    {"encode_spectrum",
     [](const StageInputs& in, StageOutputs* out) {
       Word16* position = out->bitstream;
       encode_spectrum(position, work_copy(in.transformed, out), out->coefs, out->bands[0],
                       in.spectral_budget, STAGE_FRAME_BITS, in.transient_flag);
     }},
    {"estimate_noise_level",
     [](const StageInputs& in, StageOutputs* out) {
       out->bands[0][0] = estimate_noise_level(in.norm_coefs, in.band_bits);
     }},
    {"decode_spectrum",
     [](const StageInputs& in, StageOutputs* out) {
       const BitWindow* position = in.windows;
       decode_spectrum(position, out->coefs, out->bands[0], in.spectral_budget, out->bands[1],
                       in.transient_flag);
     }},
    {"fill_spectrum",
     [](const StageInputs& in, StageOutputs* out) {
       std::copy_n(in.decoded_coefs, NUM_CODED_COEFS, out->coefs);
       fill_spectrum(out->coefs, out->values, in.band_bits, in.transient_flag, in.norm_index,
                     in.noise_level_index);
     }},
    {"inverse_transform, long",
     [](const StageInputs& in, StageOutputs* out) {
       inverse_transform(work_copy(in.spectrum, out), out->values, 0);
     }},
    {"inverse_transform, short",
     [](const StageInputs& in, StageOutputs* out) {
       inverse_transform(work_copy(in.spectrum, out), out->values, 1);
     }},
    {"synthesize_frame",
     [](const StageInputs& in, StageOutputs* out) {
       synthesize_frame(in.aliased, out->samples, out->decoder.synthesis_memory);
     }},
    {"dct4_960", [](const StageInputs& in,
                    StageOutputs* out) { dct4_960(work_copy(in.spectrum, out), out->values); }},
    {"fft120, four",
     [](const StageInputs& in, StageOutputs* out) {
       Word32* const work = work_copy(in.spectrum, out);
       fft120<PlainSums>(work, work + FRAME_SAMPLES / 2);
     }},
    {"compute_band_norms",
     [](const StageInputs& in, StageOutputs* out) {
       compute_band_norms(in.transformed, out->bands[0]);
     }},
    {"weights, sort and allocate_bits",
     [](const StageInputs& in, StageOutputs* out) {
       auto& [weights, order, bits] = out->bands;
       std::iota(order, order + NUM_BANDS, Word16{0});
       std::fill_n(bits, NUM_BANDS, Word16{0});
       compute_band_weights(in.levels, weights, in.transient_flag);
       sort_bands_by_weight(weights, NUM_BANDS, order);
       allocate_bits(weights, order, in.spectral_budget, NUM_BANDS, MAX_BAND_BITS, bits);
     }},
    {"quantize_band_group, all",
     [](const StageInputs& in, StageOutputs* out) {
       for (const BandGroup& group : BAND_GROUPS) {
         quantize_band_group(in.norm_coefs + group.first_coef, in.band_bits, group.first_band,
                             group.end_band, group.width, out->indices + group.first_coef);
       }
     }},
};

void run_stage(benchmark::State& state, Stage stage, const std::vector<StageInputs>* frames) {
  StageOutputs out{};
  std::size_t frame = 0;
  for (auto _ : state) {
    stage((*frames)[frame], &out);
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
    frame = (frame + 1) % FRAMES;
  }
}

void register_stages(const char* name, const std::vector<StageInputs>* frames) {
  for (const NamedStage& stage : STAGES) {
    benchmark::RegisterBenchmark((std::string(stage.name) + "/" + name).c_str(), run_stage,
                                 stage.run, frames);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Material speech = load_material("speech");
  const Material music = load_material("music");
  const std::vector<StageInputs> speech_inputs = stage_inputs(speech);
  const std::vector<StageInputs> music_inputs = stage_inputs(music);
  register_frames("speech", &speech);
  register_frames("music", &music);
  register_stages("speech", &speech_inputs);
  register_stages("music", &music_inputs);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
