#pragma once

#include <cstdint>

#include "base/band_layout.h"
#include "base/word.h"

namespace g719 {

// What one frame says. The encoder fills the record and writes it; the decoder reads it back.
struct FrameFields {
  bool transient;     // four short blocks in place of a long one
  int coded_bands;    // how many bands, from the lowest on, can have bits: 36 or 44
  bool norm_huffman;  // the norm differences are in Huffman code
  bool coef_huffman;  // the coefficient indices are, where has_huffman_code

  Word16 first_norm;                   // 0 to 31
  Word16 norm_delta[NUM_NORM_DELTAS];  // coded order, 0 to 31

  // Not sent, but worked out from the norms on both sides.
  Word16 norm_index[NUM_BANDS];     // 0 to 39
  Word16 band_order[NUM_BANDS];     // the coded bands by descending weight
  Word16 band_bits[NUM_BANDS];      // bits a coefficient, leftover bits included
  Word16 leftover_bits[NUM_BANDS];  // 1 for the bands that have only what was left over, else 0

  Word16 coef_index[NUM_CODED_COEFS];  // of bands with bits, as lattice_encoder.h lays them out
  int noise_level_index;               // 0 to 3; 0 in a transient frame, which does not send it
};

inline constexpr int NUM_FLAGS = 3;  // besides the transient flag
inline constexpr int FIRST_NORM_BITS = 5;
inline constexpr int NORM_DELTA_BITS = 5;
inline constexpr int NOISE_LEVEL_BITS = 2;

// Bits between the transient flag and the noise level.
constexpr int spectral_budget(int frame_bits, bool transient) {
  return frame_bits - 1 - (transient ? 0 : NOISE_LEVEL_BITS);
}

// Of an encoder's or a decoder's state, 640 to 2560. The memory stays.
template <typename State>
void set_frame_bits(int frame_bits, State* state) {
  state->frame_bits = static_cast<Word16>(frame_bits);
  state->spectral_budget_stationary = static_cast<Word16>(spectral_budget(frame_bits, false));
  state->spectral_budget_transient = static_cast<Word16>(spectral_budget(frame_bits, true));
}

// Bits that the fields of coefficients and leftover bands may take, when those of the norms are
// known.
int coefficient_budget(int frame_bits, bool transient, int norm_bits);

// Works out band_order and band_bits, without leftover bits, from the norms: the same on both
// sides.
void allocate_frame(FrameFields* fields, int budget);

// Writes the fields, pads the frame's bytes with zero bits, and returns the bits of the fields,
// frame_bits at most.
int write_frame_fields(const FrameFields* fields, int frame_bits, std::uint8_t* bytes);

// Reads the fields of any bytes and returns the bits that they took. A damaged frame can ask for up
// to two thirds more than it has; what it reads past its end is 0.
int read_frame_fields(const std::uint8_t* bytes, int frame_bits, FrameFields* fields);

}  // namespace g719
