#pragma once

#include "base/word.h"

namespace g719 {

// Clears the memory and derives the bit budgets. `frame_bits` is 640 to 2560.
void init_decoder_state(g719_decoder_state* state, int frame_bits);

// Decodes the state's frame_bits soft bits into 960 samples, or when the frame is `erased` conceals
// it without looking at the bits.
void decode_frame(const Word16* bitstream, bool erased, Word16* samples, g719_decoder_state* state);

}  // namespace g719
