#include "envelope/normalisation.h"

#include "base/band_layout.h"
#include "base/operators.h"

namespace g719 {

namespace {

// Quiet bands shift up, with saturation.
template <int WIDTH>
void normalize_band(Word32* __restrict coefs, int norm, Word16* __restrict normalized) {
  const int odd = norm % 2;
  if (odd != 0) {
    for (int i = 0; i < WIDTH; ++i) coefs[i] = scale_q15(coefs[i], SQRT_HALF);
  }
  const auto shift = static_cast<Word16>(17 - odd - norm / 2);
  if (shift < 0) {
    for (int i = 0; i < WIDTH; ++i) normalized[i] = extract_l(L_shr(coefs[i], shift));
  } else {
    for (int i = 0; i < WIDTH; ++i) normalized[i] = extract_l(coefs[i] >> shift);
  }
}

}  // namespace

void normalize_bands(Word32* spectrum, const Word16* norm_index, int coded_bands,
                     Word16* norm_coefs) {
  for (const BandGroup& g : BAND_GROUPS) {
    if (g.first_band >= coded_bands) break;
    with_fixed_width(g.width, [=](auto width) {
      for (int b = g.first_band; b < g.end_band; ++b) {
        normalize_band<width>(spectrum + band_start[b], norm_index[b], norm_coefs + band_start[b]);
      }
    });
  }
}

}  // namespace g719
