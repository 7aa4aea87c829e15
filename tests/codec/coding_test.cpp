// The codes of a frame's fields, and the rules that encoder and decoder share.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numeric>
#include <string>

#include "codec_fixture.h"
#include "envelope/band_layout.h"
#include "envelope/band_norms.h"
#include "envelope/bit_allocation.h"
#include "envelope/norm_coding.h"
#include "envelope/normalisation.h"
#include "envelope/transient_interleaving.h"
#include "frame/soft_bits.h"
#include "lattice/codebook.h"
#include "lattice/coef_coding.h"
#include "lattice/lattice_decoder.h"
#include "lattice/lattice_encoder.h"
#include "lattice/noise.h"
#include "signals.h"

namespace {

using codec_test::opened;

using namespace codec_test;
using namespace g719;
using Words = std::vector<Word16>;
using Vector = std::array<Word16, VECTOR_SIZE>;

std::string as_text(const Word16* soft_bits, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += soft_bits[i] == SOFT_BIT_ONE ? '1' : '0';
  return text;
}

// Each word ends where it is told apart from all others, and no bit sequence is left without one.
void expect_complete_prefix_code(const std::vector<std::string>& words) {
  double share = 0;
  for (const std::string& word : words) {
    share += std::exp2(-static_cast<double>(word.size()));
    for (const std::string& other : words) {
      EXPECT_TRUE(&word == &other || !other.starts_with(word)) << word << " begins " << other;
    }
  }
  EXPECT_EQ(share, 1.0);
}

TEST(SoftBits, FieldsAreReadAsWrittenMostSignificantBitFirst) {
  Words bits(64, 7);
  write_soft_bits(5, 5, bits.data());
  EXPECT_EQ(Words(bits.begin(), bits.begin() + 6), (Words{127, 127, 129, 127, 129, 7}));
  write_soft_bits(-2, 18, bits.data());  // repeats the sign
  EXPECT_EQ(as_text(bits.data(), 18), "111111111111111110");
  write_soft_bits(1, 0, bits.data());
  EXPECT_EQ(bits[0], 129);

  const Words values = {1, 2, 15};
  write_soft_bit_array(values.data(), 3, 4, bits.data());
  EXPECT_EQ(as_text(bits.data(), 12), "000100101111");
  Words read(3);
  read_soft_bit_array(opened(bits).data(), 3, 4, read.data());
  EXPECT_EQ(read, values);
  const Word16 vector_index = 0xA5;  // width 1: one value in `count` bits
  write_soft_bit_array(&vector_index, 8, 1, bits.data());
  read_soft_bit_array(opened(bits).data(), 8, 1, read.data());
  EXPECT_EQ(read, (Words{0xA5, 2, 15}));
}

TEST(SoftBits, OnlyTheSoftOneIsReadAsOne) {
  const auto read = [](Words bits) {
    Word16 value = -1;
    read_soft_bits(opened(bits).data(), static_cast<Word16>(bits.size()), &value);
    return value;
  };
  EXPECT_EQ(read({129, 0, 128, 130, -129, 1, 129}), 0b1000001);
  EXPECT_EQ(read(Words(15, 129)), 32767);
  EXPECT_EQ(read(Words(16, 129)), 32767);
  EXPECT_EQ(read({}), 0);
}

TEST(NormCoding, HuffmanCodeIsCompleteAndReadsBack) {
  Words stream(32 * 16);
  std::vector<std::string> words;
  Word16* position = stream.data();
  for (int d = 0; d < 32; ++d) {
    write_soft_bits(norm_delta_code[d], norm_delta_code_len[d], position);
    words.push_back(as_text(position, norm_delta_code_len[d]));
    position += norm_delta_code_len[d];
  }
  expect_complete_prefix_code(words);
  Words deltas(32);
  decode_norm_huffman(opened(stream).data(), 33, deltas.data());
  for (int d = 0; d < 32; ++d) EXPECT_EQ(deltas[d], d);
  EXPECT_EQ(norm_huffman_bits(Words(NUM_NORM_DELTAS, 15).data()), 129);  // a flat envelope
}

// Limits the norms, checks that the deltas lead back to them, and returns them.
Words limited(Words norms) {
  Words levels(NUM_BANDS, 99), deltas(NUM_NORM_DELTAS), decoded(NUM_BANDS);
  encode_norm_deltas(levels.data(), NUM_BANDS, norms.data(), deltas.data());
  decode_norm_deltas(deltas.data(), norms[0], decoded.data());
  EXPECT_EQ(decoded, norms);
  for (const Word16 delta : deltas) EXPECT_TRUE(delta >= 0 && delta < 32) << delta;
  for (int b = 1; b < NUM_BANDS; ++b) EXPECT_EQ(levels[b], 34 - norms[b]);
  return norms;
}

TEST(NormCoding, DifferencesAreLimitedByRaisingTheQuieterBand) {
  Words growth(NUM_BANDS, 30);
  std::fill_n(growth.begin(), 10, Word16{10});
  Words expected = growth;
  expected[10] = 26;
  EXPECT_EQ(limited(growth), expected);

  Words fall(NUM_BANDS,
             3);  // two falls in a row: the second one lowers what comes before the first
  fall[7] = 39;
  fall[8] = 20;
  expected = fall;
  expected[8] = 18;
  expected[7] = 19;  // 3 + 16, closer than 18 + 15
  EXPECT_EQ(limited(fall), expected);
  fall[6] = 39;
  expected[6] = 19;
  expected[7] = 33;
  EXPECT_EQ(limited(fall), expected);

  Random random(3);
  for (int trial = 0; trial < 1000; ++trial) {
    Words norms(NUM_BANDS);
    for (Word16& norm : norms) norm = static_cast<Word16>(random(0, 39));
    norms[0] = static_cast<Word16>(random(0, 31));
    const Words result = limited(norms);
    for (int b = 0; b < NUM_BANDS; ++b) ASSERT_LE(result[b], norms[b]);
    ASSERT_EQ(limited(result), result);
  }
}

TEST(NormCoding, DamagedNormsAreClampedBeforeTheNextBuildsOnThem) {
  Words deltas(NUM_NORM_DELTAS, 15), norms(NUM_BANDS);
  deltas[0] = 31;  // 31 + 16 -> 39
  deltas[1] = 14;
  deltas[9] = deltas[10] = deltas[11] = 0;  // 38, 23, 8 -> 0
  deltas[12] = 16;
  decode_norm_deltas(deltas.data(), 31, norms.data());
  const Words head(norms.begin(), norms.begin() + 15);
  EXPECT_EQ(head, (Words{31, 39, 38, 38, 38, 38, 38, 38, 38, 38, 23, 8, 0, 1, 1}));
}

TEST(Norms, ABandAtItsNormIsNormalisedTo256) {
  for (int exponent = 8; exponent < 24; ++exponent) {
    for (const BandGroup& group : BAND_GROUPS) {
      const Word32 even = 1 << exponent;
      const auto odd = static_cast<Word32>(std::lround(std::sqrt(0.5) * even));
      for (const Word32 rms : {even, odd}) {
        std::vector<Word32> coefs(group.width, rms);
        for (int i = 0; i < group.width; i += 2) coefs[i] = -rms;
        Words norms(NUM_BANDS);
        Word16& norm = norms[group.first_band];
        compute_band_norm(coefs.data(), &norm, NUM_NORM_LEVELS, group.width,
                          static_cast<Word16>(&group - BAND_GROUPS.data()));
        ASSERT_EQ(norm, std::clamp(50 - 2 * exponent + (rms == odd), 0, 39));
        if (norm == 39 && rms != odd) continue;  // quieter than any norm
        Words normalised(group.width);
        normalize_band_group(coefs.data(), norms.data(), group.first_band,
                             static_cast<Word16>(group.first_band + 1), group.width,
                             normalised.data());
        EXPECT_NEAR(normalised[1], 256, 1 + 256 / exponent) << exponent;
        EXPECT_NEAR(normalised[0], -256, 1 + 256 / exponent) << exponent;
      }
    }
  }
}

TEST(Interleaving, RestoresTheCodedCoefficientsOfEveryShortBlock) {
  std::vector<Word32> spectrum(FRAME);
  std::iota(spectrum.begin(), spectrum.end(), 1);
  std::vector<Word32> expected = spectrum;
  for (int i = 0; i < 960; ++i) expected[i] = i % 240 < 200 ? spectrum[i] : 0;
  interleave_transient_spectrum(spectrum.data());
  EXPECT_EQ(spectrum[48], 1 + 3 * 240);  // first of block 3
  EXPECT_EQ(spectrum[703], 1 + 199);     // last coded one of block 0
  for (int b = 0; b < NUM_BANDS; ++b) {
    const auto block = [&](int i) { return (spectrum[i] - 1) / 240; };
    EXPECT_EQ(block(band_start[b]), block(band_end[b] - 1)) << "band " << b;
    EXPECT_EQ(spectrum[band_end[b] - 1] - spectrum[band_start[b]], band_width[b] - 1);
  }
  deinterleave_transient_spectrum(spectrum.data());
  EXPECT_EQ(spectrum, expected);
}

TEST(Allocation, SpendsABudgetOnAFlatEnvelope) {
  Words weights(NUM_BANDS), order(36), bits(NUM_BANDS);
  std::iota(order.begin(), order.end(), Word16{0});
  compute_band_weights(Words(NUM_BANDS, 20).data(), weights.data(), 0);
  for (int b = 0; b < NUM_BANDS; ++b) EXPECT_EQ(weights[b], b >= 30 && b < 35 ? 22 : 20) << b;
  sort_bands_by_weight(weights.data(), 36, order.data());
  Words expected_order = {30, 31, 32, 33, 34};
  for (Word16 b = 5; b < 30; ++b) expected_order.push_back(b);
  expected_order.insert(expected_order.end(), {0, 1, 2, 3, 4, 35});
  EXPECT_EQ(order, expected_order);

  allocate_bits(weights.data(), order.data(), 500, 36, MAX_BAND_BITS, bits.data());
  Words expected(NUM_BANDS);
  std::fill(expected.begin() + 5, expected.begin() + 25, Word16{1});
  std::fill(expected.begin() + 30, expected.begin() + 35, Word16{2});
  expected[16] = 2;
  EXPECT_EQ(bits, expected);
  Word16 total = 0;
  EXPECT_EQ(count_allocated_bits(bits.data(), 36, &total), 496);
  EXPECT_EQ(total, 496);
}

TEST(Allocation, NeverOverspendsNorTouchesUncodedBands) {
  Random random(11);
  for (int trial = 0; trial < 5000; ++trial) {
    const Word16 count = random(0, 1) == 0 ? 36 : 44;
    const auto budget = static_cast<Word16>(random(-200, trial % 2 == 0 ? 700 : 8000));
    const int spread = random(0, 39);
    Words levels(NUM_BANDS), weights(NUM_BANDS), order(count), bits(NUM_BANDS);
    for (Word16& level : levels) level = static_cast<Word16>(34 - random(0, spread));
    std::iota(order.begin(), order.end(), Word16{0});
    compute_band_weights(levels.data(), weights.data(), static_cast<Word16>(random(0, 1)));
    sort_bands_by_weight(weights.data(), count, order.data());
    ASSERT_TRUE(std::is_sorted(weights.begin(), weights.begin() + count, std::greater<>()));
    order.push_back(43);  // a bait behind the last rank
    weights.resize(count);
    weights.push_back(32767);
    allocate_bits(weights.data(), order.data(), budget, count, MAX_BAND_BITS, bits.data());
    ASSERT_EQ(weights[count], 32767);
    Word16 total = 0;
    count_allocated_bits(bits.data(), count, &total);
    ASSERT_LE(total, std::max<Word16>(budget, 0));
    for (int b = 0; b < NUM_BANDS; ++b) ASSERT_TRUE(bits[b] >= 0 && bits[b] <= (b < count ? 9 : 0));
    ASSERT_TRUE(budget < 8 || total > 0);
  }
}

TEST(CoefCoding, HuffmanCodesAreComplete) {
  for (Word16 bits = 2; bits <= 5; ++bits) {
    std::vector<std::string> words;
    for (int value = 0; value < 1 << bits; ++value) {
      const Words values(VECTOR_SIZE, static_cast<Word16>(value));
      Words stream(64);
      const Word16 written = write_coef_fields(values.data(), &bits, stream.data(), 1, 0, 1, 8);
      EXPECT_EQ(written, count_coef_huffman_bits(values.data(), &bits, 0, 1, 8));
      words.push_back(as_text(stream.data(), written / VECTOR_SIZE));
    }
    expect_complete_prefix_code(words);
  }
}

TEST(CoefCoding, FieldsReadBackInBothCodings) {
  Random random(7);
  const BandGroup& group = BAND_GROUPS[2];
  for (int trial = 0; trial < 300; ++trial) {
    Words band_bits(NUM_BANDS), index(NUM_CODED_COEFS, -1), read(NUM_CODED_COEFS, -1);
    int fixed = 0;
    for (int b = group.first_band; b < group.end_band; ++b) {
      const int bits = random(0, MAX_BAND_BITS);
      band_bits[b] = static_cast<Word16>(bits);
      fixed += bits * group.width;
      for (int i = band_start[b]; i < band_end[b]; ++i) {
        if (bits > 1) index[i] = static_cast<Word16>(random(0, (1 << bits) - 1));
        if (bits == 1 && i % VECTOR_SIZE == 0) index[i] = static_cast<Word16>(random(0, 255));
      }
    }
    const auto huffman = static_cast<Word16>(trial % 2);
    Words stream(4000);
    const Word16* first = index.data() + group.first_coef;
    const Word16 written = write_coef_fields(first, band_bits.data(), stream.data(), huffman,
                                             group.first_band, group.end_band, group.width);
    ASSERT_EQ(written, huffman == 0
                           ? fixed
                           : count_coef_huffman_bits(first, band_bits.data(), group.first_band,
                                                     group.end_band, group.width));
    ASSERT_EQ(stream[written + SOFT_BLOCK - 1], 0) << "wrote further than a block";
    ASSERT_EQ(read_coef_fields(band_bits.data(), opened(stream).data(), huffman, group.first_coef,
                               group.first_band, group.end_band, group.width, read.data()),
              written);
    ASSERT_EQ(read, index);
  }
}

Vector reconstructed(const Vector& index, Word16 bits) {
  Vector coefs;
  dequantize_band_group(index.data(), &bits, 0, 1, VECTOR_SIZE, coefs.data());
  return coefs;
}

Vector quantised(const Vector& coefs, Word16 bits) {
  Vector index{};
  quantize_band_group(coefs.data(), &bits, 0, 1, VECTOR_SIZE, index.data());
  return index;
}

TEST(Lattice, EveryOneBitVectorRoundTrips) {
  for (Word16 i = 0; i < 256; ++i) {
    ASSERT_EQ(quantised(reconstructed({i}, 1), 1), Vector{i}) << i;
  }
  const Word16 zero = LATTICE_BIAS;  // as near to (2, 0, ...) as to (0, ..., -2): the lower class
  Vector all;
  all.fill(zero);
  EXPECT_EQ(quantised(all, 1), Vector{7});
}

TEST(Lattice, OneBitVectorsBecomeTheNearestCodevector) {
  Random random(8);
  for (int trial = 0; trial < 2000; ++trial) {
    Vector coefs, u;
    const int peak = trial % 3 == 0 ? 6000 : 500;
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      coefs[i] = static_cast<Word16>(random(-peak, peak));
      const int t = coefs[i] - LATTICE_BIAS;
      u[i] = static_cast<Word16>(t + (t * 3277 >> 15));  // 1.1 t
    }
    const auto distance_to = [&u](int index) {
      int sum = 0;
      for (int i = 0; i < VECTOR_SIZE; ++i) {
        const int d = u[i] - 256 * ONE_BIT_CODEBOOK[index][i];
        sum += d * d;
      }
      return sum;
    };
    const int chosen = distance_to(quantised(coefs, 1)[0]);
    for (int i = 0; i < 256; ++i) ASSERT_LE(chosen, distance_to(i)) << "codevector " << i;
  }
}

TEST(Lattice, RoundingTakesHalvesTowardsZeroAndMendsTheLargestError) {
  const auto rounded = [](Vector x) {  // units of 1/256
    Vector point;
    round_to_d8(x.data(), 5, point.data());
    return point;
  };
  EXPECT_EQ(rounded({128, 128}), Vector{});
  EXPECT_EQ(rounded({-128, -128, 129, 129}), (Vector{0, 0, 1, 1}));
  EXPECT_EQ(rounded({154}), Vector{});     // 1 would make the sum odd
  EXPECT_EQ(rounded({-384}), Vector{-2});  // -1 first
  EXPECT_EQ(rounded({256}), (Vector{2}));  // all exact: the first one moves
  EXPECT_EQ(rounded({256, 40, -60}), (Vector{1, 0, -1}));
}

TEST(Lattice, ASingleTwoAfterATwoCountsAsZero) {
  const auto is_zeroed = [](Word16 before, Word16 index) {
    Words indices(16), coefs(16);
    indices[0] = before;
    indices[8] = index;
    const Word16 bits = 1;
    dequantize_band_group(indices.data(), &bits, 0, 1, 16, coefs.data());
    return Words(coefs.begin() + 8, coefs.end()) == Words(8, LATTICE_BIAS);
  };
  EXPECT_TRUE(is_zeroed(20, 3) && is_zeroed(127, 15) && is_zeroed(0, 0));
  EXPECT_FALSE(is_zeroed(200, 3) || is_zeroed(128, 15) || is_zeroed(20, 16));
  EXPECT_NE(reconstructed({3}, 1)[3], LATTICE_BIAS) << "a band's first vector is never zeroed";
}

// Squared length of what the nearest point of modulus * D8 leaves of the point.
int distance_to_sublattice(const Vector& point, int modulus) {
  int distance = 0, parity = 0, cheapest_detour = modulus * modulus;
  for (const int c : point) {
    const int nearest = static_cast<int>(std::lround(static_cast<double>(c) / modulus));
    const int rest = std::abs(c - nearest * modulus);
    distance += rest * rest;
    parity += nearest;
    cheapest_detour = std::min(cheapest_detour, modulus * (modulus - 2 * rest));
  }
  return distance + (parity % 2 != 0 ? cheapest_detour : 0);
}

void expect_round_trip(const Vector& index, Word16 bits) {
  Vector point, again;
  d8_index_to_point(index.data(), bits, point.data());
  d8_point_to_index(point.data(), static_cast<Word16>(1 << bits), again.data());
  ASSERT_EQ(again, index);
  ASSERT_EQ(std::accumulate(point.begin(), point.end(), 0) % 2, 0);
  if (bits <= 6) {  // above, the scaled components lose bits
    const int length = std::inner_product(point.begin(), point.end(), point.begin(), 0);
    ASSERT_EQ(length, distance_to_sublattice(point, 1 << bits)) << "not nearest to the origin";
  }
  ASSERT_EQ(quantised(reconstructed(index, bits), bits), index);
}

TEST(Lattice, MultiBitVectorsRoundTrip) {
  for (int i = 0; i < 1 << 16; ++i) {  // all of them
    Vector index;
    for (int k = 0; k < VECTOR_SIZE; ++k) index[k] = i >> (2 * k) & 3;
    ASSERT_NO_FATAL_FAILURE(expect_round_trip(index, 2)) << i;
  }
  Random random(9);
  for (Word16 bits = 3; bits <= MAX_BAND_BITS; ++bits) {
    for (int trial = 0; trial < 20000; ++trial) {
      Vector index;
      const int top = trial % 2 == 0 ? (1 << bits) - 1 : random(0, (1 << bits) - 1);
      for (Word16& k : index) k = static_cast<Word16>(random(trial % 4 == 0 ? top / 2 : 0, top));
      ASSERT_NO_FATAL_FAILURE(expect_round_trip(index, bits)) << bits << " bits";
    }
  }
}

TEST(Lattice, OverloadedVectorsKeepTheirDirection) {
  Random random(13);
  for (Word16 bits = 1; bits <= MAX_BAND_BITS; ++bits) {
    for (int trial = 0; trial < 2000; ++trial) {
      Vector coefs{};
      const int peak = trial % 2 == 0 ? 2000 : 6000;
      for (Word16& coef : coefs) coef = static_cast<Word16>(random(-peak, peak));
      if (trial % 3 == 0) coefs = {coefs[0]};
      const Vector decoded = reconstructed(quantised(coefs, bits), bits);
      double error = 0, energy = 0;
      for (int i = 0; i < VECTOR_SIZE; ++i) {
        error += std::pow(coefs[i] - decoded[i], 2);
        energy += std::pow(coefs[i], 2);
      }
      ASSERT_LE(error, std::max(energy, 2.5e5)) << bits << " bits, trial " << trial;
    }
  }
}

TEST(Leftover, GoesToEmptyBandsThatFitByDescendingWeight) {
  const Words order = {9, 30, 5, 20, 6};
  Random random(17);
  Words coefs(NUM_CODED_COEFS);
  for (Word16& coef : coefs) coef = static_cast<Word16>(random(-600, 600));
  const auto coded = [&](Word16 leftover, std::initializer_list<int> full_bands) {
    Words band_bits(NUM_BANDS);
    for (const int b : full_bands) band_bits[b] = 2;
    Words decoder_bits = band_bits, index(NUM_CODED_COEFS), read_index(NUM_CODED_COEFS);
    Words stream(200), decoded(NUM_CODED_COEFS);
    Word16* written = stream.data();
    code_leftover_bands(coefs.data(), band_bits.data(), order.data(), index.data(), written, 5,
                        leftover);
    const auto windows = opened(stream);
    const BitWindow* read = windows.data();
    decode_leftover_bands(decoder_bits.data(), order.data(), read_index.data(), read,
                          decoded.data(), 5, leftover);
    EXPECT_EQ(read - windows.data(), written - stream.data());
    EXPECT_EQ(decoder_bits, band_bits);
    EXPECT_EQ(read_index, index);
    Words raised;
    for (const Word16 b : order) {
      if (band_bits[b] == 1) raised.push_back(b);
      const bool sounds = std::any_of(decoded.begin() + band_start[b],
                                      decoded.begin() + band_end[b], [](int c) { return c != 0; });
      EXPECT_EQ(sounds, band_bits[b] == 1) << "band " << b;
    }
    return raised;
  };
  EXPECT_EQ(coded(20, {9}), (Words{5, 6}));  // 24 and 16 bits do not fit
  EXPECT_EQ(coded(40, {9}), (Words{30, 5, 6}));
  EXPECT_EQ(coded(56, {9, 5}), (Words{30, 20, 6}));
  EXPECT_EQ(coded(7, {9}), Words{});
  EXPECT_EQ(coded(-30, {9}), Words{});
  EXPECT_EQ(coded(100, {30, 5, 20, 6}), Words{}) << "the heaviest band is not considered";
}

TEST(Noise, LevelIsEstimatedBelowTheHighestCodedBand) {
  const auto level = [](Word16 value, std::initializer_list<int> empty_bands, int highest = 43,
                        int zeros = 0) {
    Words band_bits(NUM_BANDS);
    std::fill_n(band_bits.begin(), highest + 1, Word16{1});
    for (const int b : empty_bands) band_bits[b] = 0;
    Words coefs(NUM_CODED_COEFS, value);
    for (int i = 0; i < zeros; ++i) coefs[band_start[3] + i] = 0;
    return estimate_noise_level(coefs.data(), band_bits.data());
  };
  EXPECT_EQ(level(128, {3}), -1);  // 8 significant bits
  EXPECT_EQ(level(256, {3}), -2);
  EXPECT_EQ(level(256, {}), 3);      // none empty
  EXPECT_EQ(level(256, {}, 20), 3);  // those above do not count
  EXPECT_EQ(level(0, {3}), 3);
  EXPECT_EQ(level(63, {3, 20}), 2);        // the mean of 6 bits rounds down to 5
  EXPECT_EQ(level(16383, {3}, 43, 4), 1);  // 14 bits four times, -1 four times: 6
  EXPECT_EQ(level(-128, {3}, 20), 0);      // 7 bits
}

// Coefficient i is coded as i + 1; returns what the spectrum's coefficients are made from.
Words filled(const Words& band_bits, Word16 transient, Word16 noise_level) {
  Words coefs(NUM_CODED_COEFS);
  for (int b = 0; b < NUM_BANDS; ++b) {
    for (int i = band_start[b]; i < band_end[b]; ++i) {
      coefs[i] = static_cast<Word16>(band_bits[b] != 0 ? i + 1 : 0);
    }
  }
  std::vector<Word32> spectrum(NUM_CODED_COEFS);
  const Words norm_index(NUM_BANDS, 4);  // x 2^15
  fill_spectrum(coefs.data(), spectrum.data(), band_bits.data(), transient, norm_index.data(),
                noise_level);
  for (int i = 0; i < NUM_CODED_COEFS; ++i) EXPECT_EQ(spectrum[i], coefs[i] * 32768);
  return coefs;
}

TEST(Noise, UncodedBandsRepeatTheCodedOnes) {
  Words band_bits(NUM_BANDS);
  EXPECT_EQ(filled(band_bits, 0, 1), Words(NUM_CODED_COEFS)) << "nothing to repeat";

  band_bits[1] = band_bits[23] = 1;  // coefficients 8 to 15 and 240 to 255
  Words pool;
  for (int i = 8; i < 256; i = i == 15 ? 240 : i + 1) pool.push_back(static_cast<Word16>(i + 1));
  Words expected(NUM_CODED_COEFS), transient(NUM_CODED_COEFS);
  std::size_t next = 0;
  for (int i = 0; i < NUM_CODED_COEFS; ++i) {
    const bool coded = (i >= 8 && i < 16) || (i >= 240 && i < 256);
    transient[i] = coded ? static_cast<Word16>(i + 1) : pool[next++ % pool.size()];
    expected[i] = transient[i];
  }
  EXPECT_EQ(filled(band_bits, 1, 0), transient);
  // Above the highest coded band: 255 to 128, 128 to 255, then down from the copy at 256, and so
  // on.
  for (int top = 255, to = 256; to < NUM_CODED_COEFS; top = 256) {
    for (int i = top; i >= 128 && to < NUM_CODED_COEFS; --i) expected[to++] = expected[i];
    for (int i = 128; i < 256 && to < NUM_CODED_COEFS; ++i) expected[to++] = expected[i];
  }
  for (int i = 0; i < 256; ++i) {  // the fold is made before the level falls
    if (!(i >= 8 && i < 16) && i < 240) expected[i] = static_cast<Word16>(expected[i] >> 2);
  }
  EXPECT_EQ(filled(band_bits, 0, 2), expected);
}

}  // namespace
