#include "codebook.h"

#include "d8.h"

namespace g719 {

void round_to_d8(const Word16* x, Word16 bits, Word16* point) {
  store_lanes(nearest_d8(load_lanes(x), bits), point);
}

void d8_point_to_index(const Word16* point, Word16 modulus, Word16* index) {
  store_lanes(d8_index(load_lanes(point), modulus), index);
}

void d8_index_to_point(const Word16* index, Word16 bits, Word16* point) {
  store_lanes(d8_point(load_lanes(index), bits), point);
}

}  // namespace g719
