// Times of the codec's stages at 64000 bit/s. Inputs are those of the frames of one second of
// material, in turn, so that branches are predicted no better than in a stream. Stages that use up
// their input pay for a copy of it, about 0.05 µs.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>

#include "envelope/band_norms.h"
#include "frame/block_scaling.h"
#include "frame/frame_decoder.h"
#include "frame/frame_encoder.h"
#include "frame/frame_fields.h"
#include "frame/spectrum_decoder.h"
#include "frame/spectrum_encoder.h"
#include "lattice/lattice_encoder.h"
#include "lattice/noise.h"
#include "material.h"
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

constexpr int FRAME_BITS = 64000 / 50;
constexpr int FRAMES = MATERIAL_PERIOD / FRAME_SAMPLES;

// All that the stages make of one frame of material.
struct Frame {
  const Word16* samples;
  g719_encoder_state encoder;
  Word32 folded[FRAME_SAMPLES];
  int block_shift;
  Word32 scaled[FRAME_SAMPLES];
  Word32 transformed[FRAME_SAMPLES];
  Word32 spectrum[FRAME_SAMPLES];
  Word16 norm_coefs[NUM_CODED_COEFS];
  FrameFields fields;
  std::uint8_t bytes[MAX_FRAME_BYTES];
  g719_decoder_state decoder;
  Word32 aliased[2 * FRAME_SAMPLES];
  Word16 decoded[FRAME_SAMPLES];
  Word32 work[FRAME_SAMPLES];
};

Word32* work_copy(const Word32* values, Frame* out) {
  return std::copy_n(values, FRAME_SAMPLES, out->work) - FRAME_SAMPLES;
}

struct Stage {
  const char* name;
  void (*run)(const Frame& in, Frame* out);
};

// In the order of a frame's life, so that each finds what those before it made.
constexpr Stage STAGES[] = {
    {"detect_transient",
     [](const Frame& in, Frame* out) {
       out->fields.transient = detect_transient(in.samples, &out->encoder);
     }},
    {"window_and_fold",
     [](const Frame& in, Frame* out) {
       window_and_fold(in.samples, out->folded, out->encoder.analysis_memory);
     }},
    {"headroom, shift_left",
     [](const Frame& in, Frame* out) {
       std::copy_n(in.folded, FRAME_SAMPLES, out->scaled);
       out->block_shift = headroom(out->scaled, FRAME_SAMPLES);
       shift_left(out->scaled, FRAME_SAMPLES, out->block_shift);
     }},
    {"forward_transform",
     [](const Frame& in, Frame* out) {
       forward_transform(in.scaled, out->transformed, in.fields.transient);
     }},
    {"shift_right",
     [](const Frame& in, Frame* out) {
       std::copy_n(in.transformed, FRAME_SAMPLES, out->spectrum);
       shift_right(out->spectrum, FRAME_SAMPLES, in.block_shift);
     }},
    {"encode_spectrum",
     [](const Frame& in, Frame* out) {
       out->fields.transient = in.fields.transient;
       encode_spectrum(work_copy(in.spectrum, out), FRAME_BITS, &out->fields, out->norm_coefs);
     }},
    {"estimate_noise_level",
     [](const Frame& in, Frame* out) {
       out->fields.noise_level_index = estimate_noise_level(in.norm_coefs, in.fields.band_bits);
     }},
    {"write_frame_fields",
     [](const Frame& in, Frame* out) { write_frame_fields(&in.fields, FRAME_BITS, out->bytes); }},
    {"read_frame_fields",
     [](const Frame& in, Frame* out) { read_frame_fields(in.bytes, FRAME_BITS, &out->fields); }},
    {"decode_spectrum",
     [](const Frame& in, Frame* out) { decode_spectrum(&in.fields, out->work); }},
    {"decode_frame",
     [](const Frame& in, Frame* out) {
       decode_frame(in.bytes, false, out->decoded, &out->decoder);
     }},
    {"inverse_transform",
     [](const Frame& in, Frame* out) {
       inverse_transform(in.decoder.previous_spectrum, out->aliased, in.fields.transient);
     }},
};

// Their parts, and what not every frame asks for.
constexpr Stage PARTS[] = {
    {"synthesize_frame",
     [](const Frame& in, Frame* out) {
       synthesize_frame(in.aliased, in.decoder.previous_spectrum_shift, out->decoded,
                        out->decoder.synthesis_memory);
     }},
    {"forward_transform, long",
     [](const Frame& in, Frame* out) { forward_transform(in.scaled, out->work, false); }},
    {"forward_transform, short",
     [](const Frame& in, Frame* out) { forward_transform(in.scaled, out->work, true); }},
    {"inverse_transform, long",
     [](const Frame& in, Frame* out) {
       inverse_transform(in.decoder.previous_spectrum, out->aliased, false);
     }},
    {"inverse_transform, short",
     [](const Frame& in, Frame* out) {
       inverse_transform(in.decoder.previous_spectrum, out->aliased, true);
     }},
    {"dct4_960",
     [](const Frame& in, Frame* out) { dct4_960(in.decoder.previous_spectrum, out->work); }},
    {"fft120, four",
     [](const Frame& in, Frame* out) {
       Word32* values = work_copy(in.decoder.previous_spectrum, out);
       fft120<PlainSums>(values, values + FRAME_SAMPLES / 2);
     }},
    {"compute_band_norms",
     [](const Frame& in, Frame* out) { compute_band_norms(in.spectrum, out->fields.norm_index); }},
    {"allocate_frame",
     [](const Frame& in, Frame* out) {
       out->fields = in.fields;
       allocate_frame(&out->fields, FRAME_BITS - 200);  // 200: about what norms and flags take
     }},
    {"quantize_bands",
     [](const Frame& in, Frame* out) {
       quantize_bands(in.norm_coefs, in.fields.band_bits, out->fields.coef_index);
     }},
};

std::vector<Frame> run_stages(const Material& material) {
  std::vector<Frame> frames(FRAMES);
  init_encoder_state(&frames[0].encoder, FRAME_BITS);
  init_decoder_state(&frames[0].decoder, FRAME_BITS);
  for (std::size_t i = 0; i < FRAMES; ++i) {
    if (i > 0) {
      frames[i].encoder = frames[i - 1].encoder;
      frames[i].decoder = frames[i - 1].decoder;
    }
    frames[i].samples = material.samples.data() + i * FRAME_SAMPLES;
    for (const Stage& stage : STAGES) stage.run(frames[i], &frames[i]);
  }
  return frames;
}

void time_stage(benchmark::State& state, const Stage& stage, const std::vector<Frame>& frames) {
  Frame out = frames[0];
  std::size_t next = 0;
  for (auto _ : state) {
    stage.run(frames[next], &out);
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
    next = (next + 1) % FRAMES;
  }
}

template <std::size_t COUNT>
void register_stages(const Stage (&stages)[COUNT], const std::string& material,
                     const std::vector<Frame>& frames) {
  for (const Stage& stage : stages) {
    const std::string name = std::string(stage.name) + "/" + material;
    benchmark::RegisterBenchmark(
        name.c_str(), [&](benchmark::State& state) { time_stage(state, stage, frames); });
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Material speech = load_material("speech");
  const Material music = load_material("music");
  const std::vector<Frame> speech_frames = run_stages(speech);
  const std::vector<Frame> music_frames = run_stages(music);
  register_stages(STAGES, "speech", speech_frames);
  register_stages(STAGES, "music", music_frames);
  register_stages(PARTS, "speech", speech_frames);
  register_stages(PARTS, "music", music_frames);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
