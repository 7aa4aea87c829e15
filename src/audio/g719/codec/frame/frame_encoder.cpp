#include "frame_encoder.h"

#include <algorithm>

#include "../envelope/band_layout.h"
#include "../envelope/spectrum_encoder.h"
#include "../lattice/noise.h"
#include "../operators/quiet_operators.h"
#include "../transform/analysis_window.h"
#include "../transform/forward_transform.h"
#include "../transform/transient_detector.h"
#include "block_scaling.h"
#include "soft_bits.h"

namespace g719 {

using namespace quiet;

void init_encoder_state(g719_encoder_state* state, Word16 frame_bits) {
  *state = {};
  state->frame_bits = frame_bits;
  state->spectral_budget_stationary = sub(frame_bits, 3);
  state->spectral_budget_transient = sub(frame_bits, 1);
}

void encode_frame(const Word16* samples, Word16* bitstream, g719_encoder_state* state) {
  Word16 frame[MAX_FRAME_BITS + SOFT_BLOCK];  // short fields are written in whole blocks
  Word16* position = frame;
  const Word16 transient_flag = detect_transient(samples, state);
  write_soft_bits(transient_flag, 1, position);
  ++position;

  Word32 block[FRAME_SAMPLES];
  Word32 spectrum[FRAME_SAMPLES];
  window_and_fold(samples, block, state->analysis_memory);
  const Word16 block_shift = headroom(block, FRAME_SAMPLES);
  shift_left(block, FRAME_SAMPLES, block_shift);
  forward_transform(block, spectrum, transient_flag);
  shift_right(spectrum, FRAME_SAMPLES, block_shift);

  Word16 norm_coefs[NUM_CODED_COEFS];
  Word16 band_bits[NUM_BANDS];
  const Word16 budget =
      transient_flag != 0 ? state->spectral_budget_transient : state->spectral_budget_stationary;
  encode_spectrum(position, spectrum, norm_coefs, band_bits, budget, state->frame_bits,
                  transient_flag);
  if (transient_flag == 0) {
    const Word16 noise_level_index = estimate_noise_level(norm_coefs, band_bits);
    write_soft_bits(noise_level_index, NOISE_LEVEL_BITS, position);
    position += NOISE_LEVEL_BITS;
  }
  std::fill(position, frame + state->frame_bits, SOFT_BIT_ZERO);
  std::copy_n(frame, state->frame_bits, bitstream);
}

}  // namespace g719
