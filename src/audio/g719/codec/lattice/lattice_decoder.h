#pragma once

#include "../frame/soft_bits.h"
#include "../word.h"

namespace g719 {

// Fine-structure coding, decoder's half: indices back to normalised coefficients, in the layout of
// lattice_encoder.h. Any index values decode.

// Bands first_band to end_band - 1 of one group; bands without bits become 0.
void dequantize_band_group(const Word16* coef_index, const Word16* band_bits, Word16 first_band,
                           Word16 end_band, Word16 width, Word16* norm_coefs);

// Reads and reconstructs the bands that the encoder coded with leftover bits, raises their entry of
// band_bits to 1 and moves the position behind what was read. leftover_bits may be negative.
void decode_leftover_bands(Word16* band_bits, const Word16* band_order, Word16* coef_index,
                           const BitWindow*& position, Word16* norm_coefs, Word16 coded_bands,
                           Word16 leftover_bits);

// Reads and reconstructs consecutive one-bit vectors.
void decode_one_bit_vectors(Word16* coef_index, const BitWindow* position, int vectors,
                            Word16* norm_coefs);

}  // namespace g719
