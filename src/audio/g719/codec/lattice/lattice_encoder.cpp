#include "lattice_encoder.h"

#include <algorithm>

#include "../frame/soft_bits.h"
#include "../operators/quiet_operators.h"
#include "codebook.h"
#include "leftover_bands.h"

namespace g719 {

using namespace quiet;

namespace {

constexpr int OVERLOAD_MAX_HALVINGS = 15;
constexpr int OVERLOAD_GROWTH_STEPS = 15;  // of 1/16 each

Word16 scale_one_bit(Word16 coef) {
  const Word16 t = sub(coef, LATTICE_BIAS);
  return add(t, mult(t, 3277));  // 1.1 t
}

Word16 scale_multi_bit(Word16 coef) {
  return extract_l(L_shr(L_mult0(21845, sub(coef, LATTICE_BIAS)), 12));  // 16/3 t
}

void sort_descending(Word16* u, Word16* positions) {
  for (Word16 i = 0; i < VECTOR_SIZE; ++i) positions[i] = i;
  for (int i = 0; i < VECTOR_SIZE - 1; ++i) {
    const auto largest = std::max_element(u + i, u + VECTOR_SIZE) - u;
    std::swap(u[i], u[largest]);
    std::swap(positions[i], positions[largest]);
  }
}

// The class whose sorted leader is nearest to the sorted vector; the first among equals.
int nearest_class(const Word16* sorted) {
  int nearest = 0;
  Word32 smallest = MAX_32;
  for (int c = 0; c < NUM_CLASSES; ++c) {
    Word32 distance = 0;
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      const Word16 d = sub(sorted[i], ONE_BIT_LEADER[c][i]);
      distance = L_mac0(distance, d, d);
    }
    if (distance < smallest) {
      smallest = distance;
      nearest = c;
    }
  }
  return nearest;
}

void quantize_one_bit(const Word16* coefs, Word16* index) {
  Word16 u[VECTOR_SIZE];
  std::transform(coefs, coefs + VECTOR_SIZE, u, scale_one_bit);
  quantize_one_bit_vector(u, index);
}

void quantize_multi_bit(const Word16* coefs, Word16 bits, Word16* index) {
  Word16 u[VECTOR_SIZE];
  std::transform(coefs, coefs + VECTOR_SIZE, u, scale_multi_bit);
  quantize_multi_bit_vector(u, index, LATTICE_MODULUS[bits], bits);
}

// The index of the lattice point nearest to u; true when the index leads back to that point, which
// it does not when the point lies outside the codebook.
bool index_of_nearest(const Word16* u, Word16 modulus, Word16 bits, Word16* index) {
  Word16 point[VECTOR_SIZE];
  Word16 decoded[VECTOR_SIZE];
  round_to_d8(u, bits, point);
  d8_point_to_index(point, modulus, index);
  d8_index_to_point(index, bits, decoded);
  return std::equal(point, point + VECTOR_SIZE, decoded);
}

// Grows the halved vector again by sixteenths of it while its point stays inside the codebook.
void grow(const Word16* u, Word16 modulus, Word16 bits, Word16* index) {
  for (Word16 step = 1; step <= OVERLOAD_GROWTH_STEPS; ++step) {
    Word16 grown[VECTOR_SIZE];
    Word16 grown_index[VECTOR_SIZE];
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      const Word16 growth = extract_l(L_shr(L_mult0(u[i], step), 4));
      grown[i] = add(u[i], add(growth, growth < 0));
    }
    if (!index_of_nearest(grown, modulus, bits, grown_index)) return;
    std::copy_n(grown_index, VECTOR_SIZE, index);
  }
}

}  // namespace

void quantize_band_group(const Word16* norm_coefs, const Word16* band_bits, Word16 first_band,
                         Word16 end_band, Word16 width, Word16* coef_index) {
  for (int b = first_band; b < end_band; ++b) {
    for (int i = 0; i < width; i += VECTOR_SIZE) {
      if (band_bits[b] == 1) {
        quantize_one_bit(norm_coefs + i, coef_index + i);
      } else if (band_bits[b] > 1) {
        quantize_multi_bit(norm_coefs + i, band_bits[b], coef_index + i);
      }
    }
    norm_coefs += width;
    coef_index += width;
  }
}

void quantize_one_bit_vector(Word16* u, Word16* index) {
  Word16 positions[VECTOR_SIZE];
  sort_descending(u, positions);
  const int c = nearest_class(u);
  int mask = 0;
  for (int i = 0; i < VECTOR_SIZE; ++i) mask |= ONE_BIT_MARK[c][i] << positions[i];
  const bool opposed = c == OPPOSED_PAIR_CLASS && positions[0] < positions[VECTOR_SIZE - 1];
  const int offset = ONE_BIT_CLASS_OFFSET[c] + (opposed ? OPPOSED_PAIRS : 0);
  *index = static_cast<Word16>(offset + ONE_BIT_MASK_RANK[mask]);
}

void quantize_multi_bit_vector(Word16* u, Word16* index, Word16 modulus, Word16 bits) {
  if (index_of_nearest(u, modulus, bits, index)) return;
  for (int halving = 0; halving < OVERLOAD_MAX_HALVINGS; ++halving) {
    for (int i = 0; i < VECTOR_SIZE; ++i) u[i] = shr_r(u[i], 1);
    if (index_of_nearest(u, modulus, bits, index)) {
      grow(u, modulus, bits, index);
      return;
    }
  }
  std::fill_n(index, VECTOR_SIZE, Word16{0});
}

void code_leftover_bands(const Word16* norm_coefs, Word16* band_bits, const Word16* band_order,
                         Word16* coef_index, Word16*& position, Word16 coded_bands,
                         Word16 leftover_bits) {
  for_each_leftover_band(band_bits, band_order, coded_bands, leftover_bits, [&](Word16 band) {
    const Word16 start = band_start[band];
    code_one_bit_vectors(norm_coefs + start, coef_index + start, position,
                         band_width[band] / VECTOR_SIZE);
    position += band_width[band];
  });
}

void code_one_bit_vectors(const Word16* norm_coefs, Word16* coef_index, Word16* position,
                          int vectors) {
  for (int i = 0; i < vectors * VECTOR_SIZE; i += VECTOR_SIZE) {
    quantize_one_bit(norm_coefs + i, coef_index + i);
    write_soft_bit_array(coef_index + i, VECTOR_SIZE, 1, position + i);
  }
}

}  // namespace g719
