#include "frame_decoder.h"

#include <algorithm>

#include "../envelope/band_layout.h"
#include "../envelope/spectrum_decoder.h"
#include "../envelope/transient_interleaving.h"
#include "../lattice/noise.h"
#include "../operators/quiet_operators.h"
#include "../transform/inverse_transform.h"
#include "../transform/synthesis.h"
#include "block_scaling.h"
#include "soft_bits.h"

namespace g719 {

using namespace quiet;

namespace {

// A damaged frame can ask for more bits than it has: Huffman words are up to 5/3 times as long as
// the fixed-length fields that were allocated. It is read from a copy that goes on with zeros and
// holds nothing but the two soft values.
constexpr int readable_bits(int frame_bits) { return frame_bits * 5 / 3 + SOFT_BLOCK; }

void copy_with_zeros_behind(const Word16* bitstream, int frame_bits, Word16* readable) {
  for (int i = 0; i < frame_bits; ++i) {
    readable[i] = bitstream[i] == SOFT_BIT_ONE ? SOFT_BIT_ONE : SOFT_BIT_ZERO;
  }
  std::fill(readable + frame_bits, readable + readable_bits(frame_bits), SOFT_BIT_ZERO);
}

// Bits that the inverse transform needs above the largest coefficient.
constexpr Word16 INVERSE_HEADROOM = 7;

// Decodes a received frame to its scaled spectrum and keeps it for concealment.
void decode_received(const Word16* bitstream, Word32* spectrum, g719_decoder_state* state) {
  Word16 readable[readable_bits(MAX_FRAME_BITS)];
  copy_with_zeros_behind(bitstream, state->frame_bits, readable);
  const Word16* position = readable;
  Word16 transient_flag = 0;
  read_soft_bits(position, 1, &transient_flag);
  ++position;

  Word16 norm_coefs[NUM_CODED_COEFS];
  Word16 norm_index[NUM_BANDS];
  Word16 band_bits[NUM_BANDS];
  const Word16 budget =
      transient_flag != 0 ? state->spectral_budget_transient : state->spectral_budget_stationary;
  decode_spectrum(position, norm_coefs, band_bits, budget, norm_index, transient_flag);
  Word16 noise_level_index = 0;
  if (transient_flag == 0) read_soft_bits(position, NOISE_LEVEL_BITS, &noise_level_index);

  std::fill(spectrum + NUM_CODED_COEFS, spectrum + FRAME_SAMPLES, 0);
  fill_spectrum(norm_coefs, spectrum, band_bits, transient_flag, norm_index, noise_level_index);
  const Word16 block_shift = sub(headroom(spectrum, FRAME_SAMPLES), INVERSE_HEADROOM);
  shift_left(spectrum, FRAME_SAMPLES, block_shift);
  if (transient_flag != 0) deinterleave_transient_spectrum(spectrum);

  std::copy_n(spectrum, FRAME_SAMPLES, state->previous_spectrum);
  state->previous_spectrum_shift = block_shift;
  state->previous_transient_flag = transient_flag;
}

// Repeats the kept spectrum and halves it for the next lost frame.
void conceal(Word32* spectrum, g719_decoder_state* state) {
  std::copy_n(state->previous_spectrum, FRAME_SAMPLES, spectrum);
  shift_right(state->previous_spectrum, FRAME_SAMPLES, 1);
}

}  // namespace

void init_decoder_state(g719_decoder_state* state, Word16 frame_bits) {
  *state = {};
  state->frame_bits = frame_bits;
  state->spectral_budget_stationary = sub(frame_bits, 3);
  state->spectral_budget_transient = sub(frame_bits, 1);
}

void decode_frame(const Word16* bitstream, Word16 erasure_flag, Word16* samples,
                  g719_decoder_state* state) {
  Word32 spectrum[FRAME_SAMPLES];
  if (erasure_flag != 0) {
    conceal(spectrum, state);
  } else {
    decode_received(bitstream, spectrum, state);
  }

  Word32 aliased[2 * FRAME_SAMPLES];
  inverse_transform(spectrum, aliased, state->previous_transient_flag);
  shift_right(aliased, 2 * FRAME_SAMPLES, state->previous_spectrum_shift);
  synthesize_frame(aliased, samples, state->synthesis_memory);
}

}  // namespace g719
