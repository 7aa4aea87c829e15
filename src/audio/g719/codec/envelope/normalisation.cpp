#include "normalisation.h"

#include "../operators/quiet_operators.h"
#include "band_layout.h"

namespace g719 {

using namespace quiet;

namespace {

constexpr Word16 SQRT_HALF = 23170;  // Q15

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

void normalize_band_group(Word32* coefs, const Word16* norms, Word16 first_band, Word16 end_band,
                          Word16 width, Word16* normalized) {
  with_fixed_width(width, [=](auto fixed_width) {
    for (int b = first_band; b < end_band; ++b) {
      const int start = (b - first_band) * fixed_width;
      normalize_band<fixed_width>(coefs + start, norms[b], normalized + start);
    }
  });
}

}  // namespace g719
