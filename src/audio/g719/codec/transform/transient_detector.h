#pragma once

#include "../g719.h"

namespace g719 {

// Whether the 960 samples hold an attack: 1 codes the frame as four short blocks, 0 as one long
// one. An attack is a quarter frame whose high-passed energy exceeds about six times the running
// energy; the frame after one is transient too. Updates the detector's memory in `state`.
Word16 detect_transient(const Word16* samples, g719_encoder_state* state);

}  // namespace g719
