#include "frame/frame_decoder.h"

#include "envelope/transient_interleaving.h"
#include "frame/block_scaling.h"
#include "frame/frame_fields.h"
#include "frame/spectrum_decoder.h"
#include "transform/inverse_transform.h"
#include "transform/synthesis.h"

namespace g719 {

namespace {

// Decodes a received frame to its scaled spectrum, where concealment will find it.
void decode_received(const std::uint8_t* bytes, g719_decoder_state* state) {
  FrameFields fields;
  read_frame_fields(bytes, state->frame_bits, &fields);

  constexpr int INVERSE_HEADROOM = 7;  // bits that the inverse transform needs above the largest
  Word32* spectrum = state->previous_spectrum;
  decode_spectrum(&fields, spectrum);
  const int block_shift = headroom(spectrum, NUM_CODED_COEFS) - INVERSE_HEADROOM;
  shift_left(spectrum, NUM_CODED_COEFS, block_shift);  // those above are 0
  if (fields.transient) deinterleave_transient_spectrum(spectrum);

  state->previous_spectrum_shift = static_cast<Word16>(block_shift);
  state->previous_transient_flag = fields.transient;
}

}  // namespace

void init_decoder_state(g719_decoder_state* state, int frame_bits) {
  *state = {};
  set_frame_bits(frame_bits, state);
}

void decode_frame(const std::uint8_t* bytes, bool erased, Word16* samples,
                  g719_decoder_state* state) {
  if (!erased) decode_received(bytes, state);

  Word32 aliased[2 * FRAME_SAMPLES];
  inverse_transform(state->previous_spectrum, aliased, state->previous_transient_flag != 0);
  synthesize_frame(aliased, state->previous_spectrum_shift, samples, state->synthesis_memory);

  // Concealment: a lost frame repeats the last spectrum; the next lost one gets half of it.
  if (erased) shift_right(state->previous_spectrum, FRAME_SAMPLES, 1);
}

}  // namespace g719
