#pragma once

#include "../g719.h"

namespace g719 {

// Clears the memory and derives the bit budgets. `frame_bits` is 640 to 2560.
void init_decoder_state(g719_decoder_state* state, Word16 frame_bits);

// Decodes the state's frame_bits soft bits into 960 samples, or with a nonzero `erasure_flag`
// conceals the frame without looking at the bits.
void decode_frame(const Word16* bitstream, Word16 erasure_flag, Word16* samples,
                  g719_decoder_state* state);

}  // namespace g719
