// Every kernel against its operator-by-operator twin: results, everything written through
// pointers, untouched inputs and the cells before and after every array.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <numeric>
#include <random>
#include <tuple>
#include <vector>

#include "envelope/band_layout.h"
#include "envelope/band_norms.h"
#include "envelope/bit_allocation.h"
#include "envelope/normalisation.h"
#include "lattice/codebook.h"
#include "lattice/lattice_decoder.h"
#include "lattice/lattice_encoder.h"
#include "lattice/multi_bit_encoder.h"
#include "lattice/noise.h"
#include "lattice/one_bit_encoder.h"
#include "literal.h"
#include "operators/quiet_operators.h"
#include "transform/analysis_window.h"
#include "transform/dct4.h"
#include "transform/fft120.h"
#include "transform/forward_transform.h"
#include "transform/inverse_transform.h"
#include "transform/sums.h"
#include "transform/synthesis.h"
#include "transform/transient_detector.h"

namespace {

using namespace g719;

constexpr int GUARDS = 16;

// An array (or a record) that a kernel gets by pointer, between guard cells.
template <typename T>
struct Array {
  explicit Array(const std::vector<T>& content) : cells(content.size() + 2 * GUARDS) {
    std::memset(static_cast<void*>(cells.data()), 0x5a, cells.size() * sizeof(T));
    std::copy(content.begin(), content.end(), data());
  }
  T* data() { return cells.data() + GUARDS; }

  std::vector<T> cells;
};

// One whose content a kernel may leave as it likes.
template <typename T>
struct Scratch : Array<T> {
  using Array<T>::Array;
};

Word16 argument(Word16 scalar) { return scalar; }
template <typename T>
T* argument(Array<T>& array) {
  return array.data();
}
template <typename T>
const T* argument(const Array<T>& array) {
  return array.cells.data() + GUARDS;
}

// First cell that differs, counted from the array's start. Guards must also be intact.
constexpr int NO_CELL = std::numeric_limits<int>::min();

int difference(Word16, Word16) { return NO_CELL; }  // scalars go in by value
template <typename T>
int difference(const Array<T>& a, const Array<T>& b, bool guards_only = false) {
  const int size = static_cast<int>(a.cells.size());
  const Array<T> guard({});
  for (int i = 0; i < size; i++) {
    const bool inside = i >= GUARDS && i < size - GUARDS;
    const T& expected = inside ? b.cells[i] : guard.cells[0];
    if (inside && guards_only) continue;
    if (std::memcmp(&a.cells[i], &expected, sizeof(T)) != 0) return i - GUARDS;
  }
  return NO_CELL;
}
template <typename T>
int difference(const Scratch<T>& a, const Scratch<T>& b) {
  return difference<T>(a, b, true);
}

// Runs the kernel on a copy of the arguments and its twin on the arguments themselves.
template <typename Kernel, typename Twin, typename... Arguments>
void expect_same(const char* name, Kernel kernel, Twin twin, Arguments&&... arguments) {
  auto copies = std::make_tuple(arguments...);
  const auto run = [&] {
    return std::apply([&](auto&... a) { return kernel(argument(a)...); }, copies);
  };
  if constexpr (std::is_void_v<decltype(run())>) {
    run();
    twin(argument(arguments)...);
  } else {
    const auto result = run();
    EXPECT_EQ(result, twin(argument(arguments)...)) << name;
  }
  std::apply(
      [&](auto&... copy) {
        int position = 0;
        const auto compare = [&](const auto& a, const auto& b) {
          const int cell = difference(a, b);
          EXPECT_EQ(cell, NO_CELL) << name << ": first difference in argument " << position;
          position++;
        };
        (compare(copy, arguments), ...);
      },
      copies);
}
#define EXPECT_SAME(kernel, ...) expect_same(#kernel, g719::kernel, literal::kernel, __VA_ARGS__)

using Random = std::mt19937_64;

template <typename T = int>
T pick(Random& random, std::int64_t low, std::int64_t high) {
  return static_cast<T>(
      low + static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(high - low + 1)));
}

enum Shape {
  MINIMA,
  MAXIMA,
  ALTERNATING,
  EXTREMES,
  SPARSE,
  SMALL,
  UNIFORM,
  STEPS,  // few different values, many ties
  RAMPS,  // flat slopes, on which a filter can rest in more than one state
  MIXED,
  LEVEL,
  NUM_SHAPES
};

template <typename T>
std::vector<T> values(Shape shape, int count, Random& random,
                      std::int64_t low = std::numeric_limits<T>::min(),
                      std::int64_t high = std::numeric_limits<T>::max()) {
  constexpr int bits = std::numeric_limits<T>::digits;
  const int level = pick(random, 0, bits);
  std::int64_t path = pick<std::int64_t>(random, low, high);
  int slope = 0;
  const auto value = [&](int i) -> std::int64_t {
    const std::int64_t uniform = pick<std::int64_t>(random, low, high);
    switch (shape) {
      case MINIMA:
        return low;
      case MAXIMA:
        return high;
      case ALTERNATING:
        return i % 2 == 0 ? high : low;
      case EXTREMES:
        return uniform % 2 == 0 ? high : low;
      case SPARSE:
        return random() % 64 == 0 ? uniform : 0;
      case SMALL:
        return pick(random, -4, 4);
      case STEPS:
        return low + (high - low) / 16 * pick(random, 0, 16);
      case RAMPS:
        if (random() % 64 == 0) slope = pick(random, -4, 4);
        if (random() % 256 == 0) path = uniform;
        return path = std::clamp(path + slope, low, high);
      case MIXED:
        return uniform >> pick(random, 0, bits);
      case LEVEL:
        return uniform >> level;
      default:
        return uniform;
    }
  };
  std::vector<T> v(count);
  for (int i = 0; i < count; i++) v[i] = static_cast<T>(std::clamp(value(i), low, high));
  return v;
}

template <typename T>
Array<T> array(Shape shape, int count, Random& random,
               std::int64_t low = std::numeric_limits<T>::min(),
               std::int64_t high = std::numeric_limits<T>::max()) {
  return Array<T>(values<T>(shape, count, random, low, high));
}

// An array to write, full of something else.
template <typename T>
Array<T> output(int count) {
  return Array<T>(std::vector<T>(count, 0x1234));
}

template <typename Round>
void for_rounds(int rounds, Round round) {
  Random random(719);
  for (int i = 0; i < rounds && !testing::Test::HasFailure(); i++) {
    const auto shape = static_cast<Shape>(i % NUM_SHAPES);
    SCOPED_TRACE(testing::Message() << "round " << i << ", shape " << shape);
    round(shape, random);
  }
}

// A spectrum or folded block as the drivers hand it on: the largest magnitude has `headroom` spare
// bits, or is whatever it is.
std::vector<Word32> block(Shape shape, bool scaled, Word16 headroom, Random& random) {
  std::vector<Word32> v = values<Word32>(shape, FRAME_SAMPLES, random);
  Word32 largest = 0;
  for (Word32 x : v) largest = std::max(largest, quiet::L_abs(x));
  const Word16 shift = quiet::sub(quiet::norm_l(largest), headroom);
  if (scaled && largest != 0) {
    for (Word32& x : v) x = quiet::L_shl(x, shift);
  }
  return v;
}

void set_energy(g719_encoder_state* state, std::int64_t energy) {
  state->energy_memory_high = static_cast<Word32>(energy >> 31);
  state->energy_memory_low = static_cast<Word32>(energy & MAX_32);
}

// The lowest running energy at which the frame counts as stationary.
std::int64_t detection_threshold(const Array<Word16>& samples, const g719_encoder_state& state) {
  std::int64_t low = 0;
  std::int64_t high = std::int64_t{1} << 48;
  while (low < high) {
    const std::int64_t middle = (low + high) / 2;
    g719_encoder_state probe = state;
    probe.transient_hangover = 0;
    set_energy(&probe, middle);
    if (literal::detect_transient(argument(samples), &probe) != 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

TEST(Kernels, TransientDetector) {
  Array<g719_encoder_state> state({g719_encoder_state{}});
  for_rounds(2000, [&](Shape shape, Random& random) {
    const auto samples = array<Word16>(shape, FRAME_SAMPLES, random);
    EXPECT_SAME(detect_transient, samples, state);
    const std::int64_t threshold = detection_threshold(samples, *state.data());
    for (std::int64_t energy :
         {threshold - 1, threshold, pick<std::int64_t>(random, 0, threshold)}) {
      auto near = state;
      set_energy(near.data(), std::max<std::int64_t>(energy, 0));
      if (random() % 4 == 0) {  // the filter's limits, where squares saturate
        near.data()->filter_output_memory = values<Word16>(shape, 1, random)[0];
        near.data()->filter_input_memory = random() % 2 == 0 ? MIN_16 : MAX_16;
      }
      EXPECT_SAME(detect_transient, samples, near);
    }
  });
}

TEST(Kernels, WindowAndFold) {
  auto memory = output<Word32>(480);
  for_rounds(2000, [&](Shape shape, Random& random) {
    EXPECT_SAME(window_and_fold, array<Word16>(shape, FRAME_SAMPLES, random),
                output<Word32>(FRAME_SAMPLES), memory);
  });
}

TEST(Kernels, ForwardTransform) {
  for_rounds(900, [&](Shape shape, Random& random) {
    for (Word16 transient_flag : {Word16{0}, Word16{1}}) {
      EXPECT_SAME(forward_transform, Array(block(shape, random() % 4 != 0, 0, random)),
                  output<Word32>(FRAME_SAMPLES), transient_flag);
    }
  });
}

TEST(Kernels, InverseTransform) {
  for_rounds(900, [&](Shape shape, Random& random) {
    for (Word16 transient_flag : {Word16{0}, Word16{1}}) {
      EXPECT_SAME(inverse_transform, Array(block(shape, random() % 2 == 0, 7, random)),
                  output<Word32>(2 * FRAME_SAMPLES), transient_flag);
    }
  });
}

TEST(Kernels, SynthesizeFrame) {
  auto memory = output<Word32>(FRAME_SAMPLES);
  for_rounds(2000, [&](Shape shape, Random& random) {
    const int bits = random() % 2 == 0 ? 31 : 24;  // 24: the edge of what 16-bit samples hold
    EXPECT_SAME(synthesize_frame,
                array<Word32>(shape, 2 * FRAME_SAMPLES, random, -(1LL << bits), (1LL << bits) - 1),
                output<Word16>(FRAME_SAMPLES), memory);
  });
}

// Values of equal magnitude whose signs make one output of the FFT, and so some sum on the way, as
// large as can be.
std::vector<Word32> aligned(int points, Word32 magnitude, Random& random) {
  const int pairs = points / 2;
  const int output = random() % 2 == 0 ? 0 : pick(random, 0, pairs - 1);
  const double phase = pick(random, 0, 7) * std::numbers::pi / 4;
  std::vector<Word32> x(FRAME_SAMPLES);
  for (int i = 0; i < FRAME_SAMPLES / 2; i++) {
    const int k = i % pairs;
    const int base = i / pairs * points;
    const double turn =
        phase + std::numbers::pi * ((4 * k + 1) / (4.0 * points) + 2.0 * output * k / pairs);
    x[base + 2 * k] = std::cos(turn) < 0 ? -magnitude : magnitude;
    x[base + points - 1 - 2 * k] = std::sin(turn) < 0 ? -magnitude : magnitude;
  }
  return x;
}

template <typename Sums>
void expect_same_fft(Word32 low, Word32 high, Shape shape, Random& random) {
  const auto four_ffts = [](Word32* re, Word32* im) {
    for (int r = 0; r < 4; r++) {
      Word32 v[240];
      for (int k = 0; k < 120; k++) v[2 * k] = re[4 * k + r], v[2 * k + 1] = im[4 * k + r];
      literal::fft120(v);
      for (int k = 0; k < 120; k++) re[4 * k + r] = v[2 * k], im[4 * k + r] = v[2 * k + 1];
    }
  };
  expect_same("fft120", fft120<Sums>, four_ffts, array<Word32>(shape, 480, random, low, high),
              array<Word32>(shape, 480, random, low, high));
}

void expect_same_dcts(const Array<Word32>& x) {
  const auto four_dcts = [](const Word32* values, Word32* X) {
    for (int r = 0; r < 4; r++) literal::dct4_240(values + 240 * r, X + 240 * r);
  };
  expect_same("dct4_240", g719::dct4_240, four_dcts, x, output<Word32>(FRAME_SAMPLES));
  EXPECT_SAME(dct4_960, x, output<Word32>(FRAME_SAMPLES));
}

TEST(Kernels, FftAndDct) {
  for_rounds(2000, [](Shape shape, Random& random) {
    expect_same_fft<SaturatingSums>(MIN_32, MAX_32, shape, random);
    expect_same_fft<PlainSums>(-(1 << 23), 1 << 23, shape, random);

    // 2^22 and 2^24 are what 960 and 240 points carry without saturation.
    const int bits = random() % 2 == 0 ? 31 : pick(random, 20, 27);
    expect_same_dcts(
        array<Word32>(shape, FRAME_SAMPLES, random, -(1LL << bits), (1LL << bits) - 1));
    for (int points : {240, 960}) {
      const Word32 magnitude = (FRAME_SAMPLES / points << 22) + pick(random, -1, 1);
      expect_same_dcts(Array(aligned(points, magnitude, random)));
    }
  });
}

TEST(Kernels, BandNorms) {
  for_rounds(20000, [](Shape shape, Random& random) {
    const auto group = pick<Word16>(random, 0, 3);
    const Word16 width = BAND_GROUPS[group].width;
    const Word16 limit = random() % 4 == 0 ? 32 : 40;
    auto coefs = array<Word32>(shape, width, random);
    EXPECT_SAME(compute_band_norm, coefs, output<Word16>(1), limit, width, group);

    // And where the index changes as the first coefficient grows.
    const auto norm = [&](Word32 first) {
      Word16 index = 0;
      coefs.data()[0] = first;
      literal::compute_band_norm(coefs.data(), &index, limit, width, group);
      return index;
    };
    Word32 low = 0;
    Word32 high = pick<Word32>(random, 0, MAX_32);
    while (high - low > 1) {
      const Word32 middle = low + (high - low) / 2;
      (norm(middle) == norm(low) ? low : high) = middle;
    }
    for (Word32 first : {low, high}) {
      coefs.data()[0] = first;
      EXPECT_SAME(compute_band_norm, coefs, output<Word16>(1), limit, width, group);
    }
  });
}

TEST(Kernels, NormaliseBandGroup) {
  for_rounds(4000, [](Shape shape, Random& random) {
    const auto norms = array<Word16>(random() % 2 == 0 ? UNIFORM : shape, NUM_BANDS, random, 0, 39);
    for (const auto& [first_band, end_band, width, start] : BAND_GROUPS) {
      const int count = (end_band - first_band) * width;
      EXPECT_SAME(normalize_band_group, array<Word32>(shape, count, random), norms, first_band,
                  end_band, width, output<Word16>(count));
    }
  });
}

TEST(Kernels, BitAllocation) {
  for_rounds(20000, [](Shape shape, Random& random) {
    const auto levels = array<Word16>(shape, NUM_BANDS, random, -5, 34);
    auto weights = output<Word16>(NUM_BANDS);
    EXPECT_SAME(compute_band_weights, levels, weights, pick<Word16>(random, 0, 1));
    if (random() % 4 == 0) weights = array<Word16>(shape, NUM_BANDS, random, -5, 37);

    const Word16 count = random() % 2 == 0 ? 36 : 44;
    std::vector<Word16> bands(NUM_BANDS);
    std::iota(bands.begin(), bands.end(), Word16{0});
    Array<Word16> order(bands);
    EXPECT_SAME(sort_bands_by_weight, weights, count, order);

    // 2422 bits: the highest bitrate with the shortest norms. A low limit fills every band.
    const auto budget = pick<Word16>(random, 0, random() % 4 == 0 ? 64 : 2422);
    const auto max_bits =
        pick<Word16>(random, random() % 4 == 0 ? 1 : MAX_BAND_BITS, MAX_BAND_BITS);
    EXPECT_SAME(allocate_bits, Scratch<Word16>({weights.data(), weights.data() + NUM_BANDS}), order,
                budget, count, max_bits, Array(std::vector<Word16>(NUM_BANDS)));
  });
}

// Vectors half way between two of the one-bit codebook, give or take; 1.0 is `unit`.
std::vector<Word16> between_codevectors(int count, int unit, int bias, Random& random) {
  std::vector<Word16> u(count);
  for (int i = 0; i < count; i += VECTOR_SIZE) {
    const auto& a = ONE_BIT_CODEBOOK[pick(random, 0, 255)];
    const auto& b = ONE_BIT_CODEBOOK[pick(random, 0, 255)];
    for (int j = 0; j < VECTOR_SIZE; j++) {
      u[i + j] = static_cast<Word16>((a[j] + b[j]) * unit / 2 + bias + pick(random, -2, 2));
    }
  }
  return u;
}

TEST(Kernels, Lattice) {
  for_rounds(60000, [](Shape shape, Random& random) {
    const auto R = pick<Word16>(random, 2, MAX_BAND_BITS);
    const auto modulus = static_cast<Word16>(1 << R);
    const auto u = values<Word16>(shape, 8, random);
    EXPECT_SAME(round_to_d8, Array(u), R, output<Word16>(8));
    EXPECT_SAME(d8_point_to_index, array<Word16>(shape, 8, random, -2049, 2049), modulus,
                output<Word16>(8));
    EXPECT_SAME(d8_index_to_point, array<Word16>(shape, 8, random, 0, modulus - 1), R,
                output<Word16>(8));
    for (const auto& v :
         {u, values<Word16>(shape, 8, random, -700, 700), between_codevectors(8, 256, 0, random)}) {
      EXPECT_SAME(quantize_one_bit_vector, Scratch<Word16>(v), output<Word16>(1));
    }
    EXPECT_SAME(quantize_multi_bit_vector, Scratch<Word16>(u), output<Word16>(8), modulus, R);
  });
}

// Bits for each band: any, one everywhere, or some in few bands.
Array<Word16> band_bits(Random& random) {
  const int high = random() % 3 == 0 ? 1 : MAX_BAND_BITS;
  return array<Word16>(random() % 2 == 0 ? UNIFORM : SPARSE, NUM_BANDS, random, 0, high);
}

TEST(Kernels, QuantiseBandGroup) {
  for_rounds(6000, [](Shape shape, Random& random) {
    const auto bits = band_bits(random);
    const int limit = (1 << pick(random, 8, 15)) - 1;
    for (const auto& [first_band, end_band, width, start] : BAND_GROUPS) {
      const int count = (end_band - first_band) * width;
      // 1.0 of the one-bit codebook: 256 / 1.1 = 233.
      const auto coefs = random() % 4 == 0
                             ? between_codevectors(count, 233, LATTICE_BIAS, random)
                             : values<Word16>(shape, count, random, -limit - 1, limit);
      EXPECT_SAME(quantize_band_group, Array(coefs), bits, first_band, end_band, width,
                  output<Word16>(count));
    }
  });
}

TEST(Kernels, DequantiseBandGroup) {
  for_rounds(2000, [](Shape shape, Random& random) {
    auto bits = band_bits(random);
    for (const auto& [first_band, end_band, width, start] : BAND_GROUPS) {
      std::vector<Word16> index;
      for (int b = first_band; b < end_band; b++) {
        const int R = bits.data()[b] == 1 ? 8 : bits.data()[b];
        const auto band = values<Word16>(shape, width, random, 0, (1 << R) - 1);
        index.insert(index.end(), band.begin(), band.end());
      }
      EXPECT_SAME(dequantize_band_group, Array(index), bits, first_band, end_band, width,
                  output<Word16>(static_cast<int>(index.size())));
    }
  });
}

TEST(Kernels, NoiseFilling) {
  for_rounds(6000, [](Shape shape, Random& random) {
    const auto coefs = array<Word16>(shape, NUM_CODED_COEFS, random);
    const auto bits = band_bits(random);
    EXPECT_SAME(estimate_noise_level, coefs, bits);
    for (Word16 transient_flag : {Word16{0}, Word16{1}}) {
      EXPECT_SAME(fill_spectrum, Array(coefs), output<Word32>(FRAME_SAMPLES), bits, transient_flag,
                  array<Word16>(UNIFORM, NUM_BANDS, random, 0, 39),
                  transient_flag != 0 ? Word16{0} : pick<Word16>(random, 0, 3));
    }
  });
}

}  // namespace
