#pragma once

#include <cstdint>

#include "base/word.h"

namespace g719 {

// Clears the memory and derives the bit budgets. `frame_bits` is 640 to 2560.
void init_encoder_state(g719_encoder_state* state, int frame_bits);

// Encodes 960 samples into a frame of the state's frame_bits.
void encode_frame(const Word16* samples, std::uint8_t* bytes, g719_encoder_state* state);

}  // namespace g719
