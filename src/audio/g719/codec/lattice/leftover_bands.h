// The rule by which encoder and decoder spend bits that the coefficient fields left over.
#pragma once

#include "../envelope/band_layout.h"

namespace g719 {

// Calls code(band) for every band without bits that still fits, by descending weight, after setting
// its entry of band_bits to 1. The band at rank 0 is never among them.
template <typename Code>
void for_each_leftover_band(Word16* band_bits, const Word16* band_order, Word16 coded_bands,
                            int leftover_bits, Code code) {
  for (int rank = 1; rank < coded_bands; ++rank) {
    const Word16 band = band_order[rank];
    if (band_bits[band] != 0 || leftover_bits < band_width[band]) continue;
    band_bits[band] = 1;
    code(band);
    leftover_bits -= band_width[band];
  }
}

}  // namespace g719
