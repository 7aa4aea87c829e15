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
// the fixed-length fields that were allocated. What it reads past its end is 0.
constexpr int readable_bits(int frame_bits) { return frame_bits * 5 / 3 + 8; }

// Bits that the inverse transform needs above the largest coefficient.
constexpr Word16 INVERSE_HEADROOM = 7;

// Decodes a received frame to its scaled spectrum, where concealment will find it.
void decode_received(const Word16* bitstream, g719_decoder_state* state) {
  Word32* spectrum = state->previous_spectrum;
  BitWindow frame[readable_bits(MAX_FRAME_BITS)];
  open_soft_bits(bitstream, state->frame_bits, frame, readable_bits(state->frame_bits));
  const BitWindow* position = frame;
  const auto transient_flag = static_cast<Word16>(read_window(position, 1));
  ++position;

  Word16 norm_coefs[NUM_CODED_COEFS];
  Word16 norm_index[NUM_BANDS];
  Word16 band_bits[NUM_BANDS];
  const Word16 budget =
      transient_flag != 0 ? state->spectral_budget_transient : state->spectral_budget_stationary;
  decode_spectrum(position, norm_coefs, band_bits, budget, norm_index, transient_flag);
  const auto noise_level_index =
      static_cast<Word16>(transient_flag == 0 ? read_window(position, NOISE_LEVEL_BITS) : 0);

  std::fill(spectrum + NUM_CODED_COEFS, spectrum + FRAME_SAMPLES, 0);
  fill_spectrum(norm_coefs, spectrum, band_bits, transient_flag, norm_index, noise_level_index);
  const Word16 block_shift = sub(headroom(spectrum, FRAME_SAMPLES), INVERSE_HEADROOM);
  shift_left(spectrum, FRAME_SAMPLES, block_shift);
  if (transient_flag != 0) deinterleave_transient_spectrum(spectrum);

  state->previous_spectrum_shift = block_shift;
  state->previous_transient_flag = transient_flag;
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
  const Word32* spectrum = state->previous_spectrum;
  Word32 repeated[FRAME_SAMPLES];
  if (erasure_flag != 0) {
    // The last spectrum once more; the next lost frame gets half of it.
    spectrum = std::copy_n(state->previous_spectrum, FRAME_SAMPLES, repeated) - FRAME_SAMPLES;
    shift_right(state->previous_spectrum, FRAME_SAMPLES, 1);
  } else {
    decode_received(bitstream, state);
  }

  Word32 aliased[2 * FRAME_SAMPLES];
  inverse_transform(spectrum, aliased, state->previous_transient_flag);
  shift_right(aliased, 2 * FRAME_SAMPLES, state->previous_spectrum_shift);
  synthesize_frame(aliased, samples, state->synthesis_memory);
}

}  // namespace g719
