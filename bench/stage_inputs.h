// What the stages of the codec see in one frame of material: the frame drivers' steps, with every
// value between them kept.
#pragma once

#include <vector>

#include "envelope/band_layout.h"
#include "frame/soft_bits.h"
#include "g719.h"
#include "material.h"

constexpr int STAGE_BITRATE = 64000;
constexpr g719::Word16 STAGE_FRAME_BITS = STAGE_BITRATE / 50;

struct StageInputs {
  const g719::Word16* samples;
  g719::Word16 transient_flag;
  g719::Word16 spectral_budget;
  g719::Word32 folded[g719::FRAME_SAMPLES];       // as forward_transform gets it
  g719::Word32 transformed[g719::FRAME_SAMPLES];  // as encode_spectrum gets it
  g719::Word16 norm_coefs[g719::NUM_CODED_COEFS];
  g719::Word16 band_bits[g719::NUM_BANDS];  // with the bands that leftover bits raised

  g719::Word16 bitstream[2 * g719::MAX_FRAME_BITS];
  g719::BitWindow windows[2 * g719::MAX_FRAME_BITS];
  g719::Word16 norm_index[g719::NUM_BANDS];
  g719::Word16 levels[g719::NUM_BANDS];
  g719::Word16 noise_level_index;
  g719::Word16 decoded_coefs[g719::NUM_CODED_COEFS];  // as fill_spectrum gets them
  g719::Word32 spectrum[g719::FRAME_SAMPLES];         // as inverse_transform gets it
  g719::Word32 aliased[2 * g719::FRAME_SAMPLES];      // as synthesize_frame gets it
};

// One entry for each frame of the material.
std::vector<StageInputs> stage_inputs(const Material& material);
