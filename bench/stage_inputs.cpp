#include "stage_inputs.h"

#include <algorithm>

#include "envelope/spectrum_decoder.h"
#include "envelope/spectrum_encoder.h"
#include "envelope/transient_interleaving.h"
#include "frame/block_scaling.h"
#include "frame/frame_decoder.h"
#include "frame/frame_encoder.h"
#include "frame/soft_bits.h"
#include "lattice/noise.h"
#include "transform/analysis_window.h"
#include "transform/forward_transform.h"
#include "transform/inverse_transform.h"
#include "transform/transient_detector.h"

using namespace g719;

namespace {

void keep_encoder_inputs(StageInputs* inputs, g719_encoder_state* state) {
  inputs->transient_flag = detect_transient(inputs->samples, state);
  window_and_fold(inputs->samples, inputs->folded, state->analysis_memory);
  const Word16 block_shift = headroom(inputs->folded, FRAME_SAMPLES);
  shift_left(inputs->folded, FRAME_SAMPLES, block_shift);
  forward_transform(inputs->folded, inputs->transformed, inputs->transient_flag);
  shift_right(inputs->transformed, FRAME_SAMPLES, block_shift);

  Word32 spectrum[FRAME_SAMPLES];
  std::copy_n(inputs->transformed, FRAME_SAMPLES, spectrum);
  inputs->spectral_budget = inputs->transient_flag != 0 ? state->spectral_budget_transient
                                                        : state->spectral_budget_stationary;
  std::fill(std::begin(inputs->bitstream), std::end(inputs->bitstream), SOFT_BIT_ZERO);
  Word16* position = inputs->bitstream;
  encode_spectrum(position, spectrum, inputs->norm_coefs, inputs->band_bits,
                  inputs->spectral_budget, state->frame_bits, inputs->transient_flag);
  inputs->noise_level_index =
      inputs->transient_flag != 0
          ? Word16{0}
          : static_cast<Word16>(estimate_noise_level(inputs->norm_coefs, inputs->band_bits) & 3);
}

void keep_decoder_inputs(StageInputs* inputs) {
  constexpr Word16 INVERSE_HEADROOM = 7;
  open_soft_bits(inputs->bitstream, MAX_FRAME_BITS, inputs->windows, 2 * MAX_FRAME_BITS);
  const BitWindow* position = inputs->windows;
  Word16 band_bits[NUM_BANDS];
  decode_spectrum(position, inputs->decoded_coefs, band_bits, inputs->spectral_budget,
                  inputs->norm_index, inputs->transient_flag);
  std::transform(inputs->norm_index, inputs->norm_index + NUM_BANDS, inputs->levels,
                 [](Word16 norm) { return NORM_LEVEL_TABLE[static_cast<std::size_t>(norm)]; });

  Word16 filled[NUM_CODED_COEFS];
  std::copy_n(inputs->decoded_coefs, NUM_CODED_COEFS, filled);
  fill_spectrum(filled, inputs->spectrum, band_bits, inputs->transient_flag, inputs->norm_index,
                inputs->noise_level_index);
  const auto block_shift =
      static_cast<Word16>(headroom(inputs->spectrum, FRAME_SAMPLES) - INVERSE_HEADROOM);
  shift_left(inputs->spectrum, FRAME_SAMPLES, block_shift);
  if (inputs->transient_flag != 0) deinterleave_transient_spectrum(inputs->spectrum);

  Word32 spectrum[FRAME_SAMPLES];
  std::copy_n(inputs->spectrum, FRAME_SAMPLES, spectrum);
  inverse_transform(spectrum, inputs->aliased, inputs->transient_flag);
  shift_right(inputs->aliased, 2 * FRAME_SAMPLES, block_shift);
}

}  // namespace

std::vector<StageInputs> stage_inputs(const Material& material) {
  std::vector<StageInputs> frames(MATERIAL_PERIOD / FRAME_SAMPLES);
  g719_encoder_state state;
  init_encoder_state(&state, STAGE_FRAME_BITS);
  const Word16* samples = material.samples.data();
  for (StageInputs& inputs : frames) {
    inputs = {};
    inputs.samples = samples;
    samples += FRAME_SAMPLES;
    keep_encoder_inputs(&inputs, &state);
    keep_decoder_inputs(&inputs);
  }
  return frames;
}
