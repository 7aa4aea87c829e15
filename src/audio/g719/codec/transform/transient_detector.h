#pragma once

#include "base/word.h"

namespace g719 {

// The transient detector behind block switching: whether the 960 samples, or those of the frame
// before, hold an attack. That is a quarter frame whose high-passed energy exceeds about six times
// the running energy. Updates the detector's memory in `state`.
bool detect_transient(const Word16* samples, g719_encoder_state* state);

}  // namespace g719
