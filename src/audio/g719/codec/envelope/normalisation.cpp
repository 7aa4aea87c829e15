#include "normalisation.h"

#include "../operators/quiet_operators.h"

namespace g719 {

using namespace quiet;

namespace {

constexpr Word16 SQRT_HALF = 23170;  // Q15

// Quiet bands shift up, with saturation.
void normalize_band(const Word32* __restrict coefs, int width, Word16 shift,
                    Word16* __restrict normalized) {
  if (shift < 0) {
    for (int i = 0; i < width; ++i) normalized[i] = extract_l(L_shr(coefs[i], shift));
  } else {
    for (int i = 0; i < width; ++i) normalized[i] = extract_l(coefs[i] >> shift);
  }
}

}  // namespace

void normalize_band_group(Word32* coefs, const Word16* norms, Word16 first_band, Word16 end_band,
                          Word16 width, Word16* normalized) {
  for (int b = first_band; b < end_band; ++b) {
    const int odd = norms[b] % 2;
    if (odd != 0) {
      for (int i = 0; i < width; ++i) coefs[i] = scale_q15(coefs[i], SQRT_HALF);
    }
    normalize_band(coefs, width, static_cast<Word16>(17 - odd - norms[b] / 2), normalized);
    coefs += width;
    normalized += width;
  }
}

}  // namespace g719
