#include "base/soft_bits.h"

#include <algorithm>

namespace g719 {

namespace {

// Windows of BITS bits become windows of twice as many.
template <int BITS>
void widen(BitWindow* windows, int count) {
  for (int i = 0; i < count; ++i) {
    windows[i] = static_cast<BitWindow>(windows[i] << BITS | windows[i + BITS]);
  }
}

}  // namespace

void open_soft_bits(const Word16* __restrict soft_bits, int count, BitWindow* __restrict windows,
                    int readable) {
  for (int i = 0; i < count; ++i) windows[i] = soft_bits[i] == SOFT_BIT_ONE ? 1 : 0;
  std::fill(windows + count, windows + readable, BitWindow{0});
  widen<1>(windows, count);
  widen<2>(windows, count);
  widen<4>(windows, count);
}

}  // namespace g719
