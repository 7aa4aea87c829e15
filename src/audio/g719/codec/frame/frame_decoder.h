#pragma once

#include <cstdint>

#include "base/word.h"

namespace g719 {

// Clears the memory and derives the bit budgets. `frame_bits` is 640 to 2560.
void init_decoder_state(g719_decoder_state* state, int frame_bits);

// Decodes a frame of the state's frame_bits into 960 samples, or when it is `erased` conceals it
// without looking at the bytes.
void decode_frame(const std::uint8_t* bytes, bool erased, Word16* samples,
                  g719_decoder_state* state);

}  // namespace g719
