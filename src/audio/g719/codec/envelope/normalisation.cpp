#include "normalisation.h"

#include "../operators/quiet_operators.h"

namespace g719 {

using namespace quiet;

namespace {
constexpr Word16 SQRT_HALF = 23170;  // Q15
}

void normalize_band_group(Word32* coefs, const Word16* norms, Word16 first_band, Word16 end_band,
                          Word16 width, Word16* normalized) {
  for (int b = first_band; b < end_band; ++b) {
    const Word16 odd = norms[b] & 1;
    const Word16 shift = sub(sub(17, odd), shr(norms[b], 1));
    for (int i = 0; i < width; ++i) {
      if (odd != 0) coefs[i] = L_mls(coefs[i], SQRT_HALF);
      normalized[i] = extract_l(L_shr(coefs[i], shift));
    }
    coefs += width;
    normalized += width;
  }
}

}  // namespace g719
