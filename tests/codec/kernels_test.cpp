// Every kernel over many inputs of each shape: all that it returns and writes has the digest that
// it had, and the cells before and behind its outputs are untouched.

#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <random>

#include "base/operators.h"
#include "envelope/band_norms.h"
#include "envelope/bit_allocation.h"
#include "envelope/norm_coding.h"
#include "envelope/normalisation.h"
#include "lattice/codebook.h"
#include "lattice/lattice_decoder.h"
#include "lattice/lattice_encoder.h"
#include "lattice/noise.h"
#include "support.h"
#include "transform/analysis_window.h"
#include "transform/dct4.h"
#include "transform/forward_transform.h"
#include "transform/inverse_transform.h"
#include "transform/synthesis.h"
#include "transform/transient_detector.h"

namespace {

using namespace g719;
using Words = std::vector<Word16>;
using Longs = std::vector<Word32>;

// The draws of one round of a kernel.
struct Round {
  int shape;  // of what is drawn from here on
  std::mt19937_64 random;
  codec_test::Digest digest{};
  // Of the array that is drawn: limits, present index and uniform value, and what runs through it.
  std::int64_t low{}, high{}, i{}, uniform{}, level{}, path{}, slope{};

  std::int64_t pick(std::int64_t from, std::int64_t to) {
    return from + static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(to - from + 1));
  }
  bool one_in(int n) { return pick(1, n) == 1; }
  template <typename T>
  std::vector<T> draw(int count, std::int64_t lowest = std::numeric_limits<T>::min(),
                      std::int64_t highest = std::numeric_limits<T>::max());
};

constexpr struct {
  const char* name;
  std::int64_t (*value)(Round& r);
} SHAPES[] = {
    {"uniform", [](Round& r) { return r.uniform; }},
    {"sparse", [](Round& r) { return r.one_in(64) ? r.uniform : 0; }},
    {"minima", [](Round& r) { return r.low; }},
    {"maxima", [](Round& r) { return r.high; }},
    {"alternating", [](Round& r) { return r.i % 2 == 0 ? r.high : r.low; }},
    {"extremes", [](Round& r) { return r.uniform % 2 == 0 ? r.high : r.low; }},
    {"small", [](Round& r) { return r.pick(-4, 4); }},
    {"steps", [](Round& r) { return r.low + (r.high - r.low) / 16 * r.pick(0, 16); }},
    {"slopes",  // flat ones, on which a filter can rest in several states
     [](Round& r) {
       if (r.one_in(64)) r.slope = r.pick(-4, 4);
       if (r.one_in(256)) r.path = r.uniform;
       return r.path = std::clamp(r.path + r.slope, r.low, r.high);
     }},
    {"levels", [](Round& r) { return r.uniform >> r.pick(0, 31); }},
    {"level", [](Round& r) { return r.uniform >> r.level; }},
};
constexpr int UNIFORM = 0, SPARSE = 1;

template <typename T>
std::vector<T> Round::draw(int count, std::int64_t lowest, std::int64_t highest) {
  low = lowest, high = highest, slope = 0;
  level = pick(0, std::numeric_limits<T>::digits);
  path = pick(low, high);
  std::vector<T> values(count);
  for (i = 0; i < count; ++i) {
    uniform = pick(low, high);
    values[i] = std::clamp(SHAPES[shape].value(*this), low, high);
  }
  return values;
}

// The smallest value, up to `end`, that no longer has what smaller ones have.
std::int64_t border(std::int64_t end, auto has_it) {
  std::int64_t begin = 0;
  while (begin < end) {
    const std::int64_t middle = (begin + end) / 2;
    has_it(middle) ? begin = middle + 1 : end = middle;
  }
  return end;
}

// An array that a kernel writes, between guards; at its end it goes into the round's digest.
template <typename T>
class Out {
 public:
  Out(Round* round, const std::vector<T>& content)
      : round_(round), cells_(content.size() + 2 * GUARDS, GUARD) {
    std::ranges::copy(content, *this + 0);
  }
  Out(Round* round, int count) : Out(round, std::vector<T>(count)) {}
  ~Out() {
    const auto begin = cells_.begin() + GUARDS, end = cells_.end() - GUARDS;
    EXPECT_EQ(std::count(cells_.begin(), begin, GUARD), GUARDS) << "before it";
    EXPECT_EQ(std::count(end, cells_.end(), GUARD), GUARDS) << "behind it";
    round_->digest.add_all(std::vector<T>(begin, end));
  }
  operator T*() { return cells_.data() + GUARDS; }

 private:
  static constexpr int GUARDS = 16;
  static constexpr T GUARD = 0x5A5A;
  Round* round_;
  std::vector<T> cells_;
};

g719_encoder_state with_energy(g719_encoder_state state, std::int64_t energy) {
  state.energy_memory_high = energy >> 31;
  state.energy_memory_low = energy & MAX_32;
  return state;
}

// A spectrum or folded block as the drivers hand it on: the largest magnitude has `headroom` spare
// bits, or is whatever it is.
Longs draw_block(Round* round, int headroom) {
  Longs v = round->draw<Word32>(FRAME_SAMPLES);
  const int shift = norm_l(largest_magnitude(v.data(), FRAME_SAMPLES)) - headroom;
  const bool scaled = !round->one_in(3);
  for (Word32& x : v) x = scaled ? L_shl(x, shift) : x;
  return v;
}
// Values of equal magnitude whose signs make one output of the FFT, and so some sum on the way, as
// large as can be.
Longs draw_aligned(Round* round, int points, Word32 magnitude) {
  const int pairs = points / 2;
  const int output = round->one_in(2) ? 0 : round->pick(0, pairs - 1);
  const int phase = round->pick(0, 7);
  Longs x(FRAME_SAMPLES);
  for (int i = 0; i < FRAME_SAMPLES / 2; ++i) {
    const int k = i % pairs;
    const int first = i / pairs * points;
    const int angle = (phase * points + 4 * k + 1 + 16 * output * k) % (8 * points);  // of 2 pi
    x[first + 2 * k] = angle > 2 * points && angle < 6 * points ? -magnitude : magnitude;
    x[first + points - 1 - 2 * k] = angle > 4 * points ? -magnitude : magnitude;
  }
  return x;
}
Words draw_norms(Round* round) {
  if (round->one_in(2)) round->shape = UNIFORM;
  return round->draw<Word16>(NUM_BANDS, 0, NUM_NORM_LEVELS - 1);
}

// Bits for each band: any, one everywhere, or some in few bands.
Words draw_band_bits(Round* round) {
  round->shape = round->one_in(2) ? UNIFORM : SPARSE;
  return round->draw<Word16>(NUM_BANDS, 0, round->one_in(3) ? 1 : MAX_BAND_BITS);
}

// Some large components of nearly one magnitude in each vector, so that classes nearly tie.
Words draw_near_ties(Round* round) {
  Words coefs(NUM_CODED_COEFS);
  int level = 0;
  for (int i = 0; i < NUM_CODED_COEFS; ++i) {
    if (i % VECTOR_SIZE == 0) level = round->pick(100, 3600);
    const int large = round->one_in(2) ? level : -level;
    coefs[i] =
        LATTICE_BIAS + (round->one_in(3) ? round->pick(-150, 150) : large + round->pick(-1, 1));
  }
  return coefs;
}

struct Kernel {
  const char* name;
  int rounds;
  void (*run)(Round* round);
};

// Each draws one thing at a time, since compilers differ in the order of arguments.
constexpr Kernel KERNELS[] = {
    {"transient_detector", 70,
     // At, just below and anywhere below the running energy from which on the frame counts as
     // stationary.
     [](Round* round) {
       const Words samples = round->draw<Word16>(FRAME_SAMPLES);
       g719_encoder_state state = {};
       if (round->one_in(2)) state.filter_output_memory = round->draw<Word16>(1)[0];
       if (round->one_in(2)) state.filter_input_memory = round->one_in(2) ? MIN_16 : MAX_16;
       const std::int64_t stationary = border(1LL << 48, [&](std::int64_t energy) {
         g719_encoder_state probe = with_energy(state, energy);
         return detect_transient(samples.data(), &probe);
       });
       for (const std::int64_t energy : {stationary, stationary - 1, round->pick(0, stationary)}) {
         g719_encoder_state near = with_energy(state, std::max<std::int64_t>(energy, 0));
         near.transient_hangover = round->one_in(4);
         const Word16 transient = detect_transient(samples.data(), &near);
         round->digest.add_all(Longs{transient, near.transient_hangover, near.filter_output_memory,
                                     near.filter_input_memory, near.energy_memory_high,
                                     near.energy_memory_low});
       }
     }},
    {"window_and_fold", 40,
     [](Round* round) {
       const Words samples = round->draw<Word16>(FRAME_SAMPLES);
       Out<Word32> memory(round, round->draw<Word32>(480));
       window_and_fold(samples.data(), Out<Word32>(round, FRAME_SAMPLES), memory);
     }},
    {"transforms", 60,
     [](Round* round) {
       for (const bool transient : {false, true}) {
         forward_transform(draw_block(round, 0).data(), Out<Word32>(round, FRAME_SAMPLES),
                           transient);
         inverse_transform(draw_block(round, 7).data(), Out<Word32>(round, 2 * FRAME_SAMPLES),
                           transient);
       }
     }},
    {"synthesis", 80,
     [](Round* round) {
       const int bits = round->one_in(2) ? 31 : 24;  // 24: the edge of what 16-bit samples hold
       const Longs aliased =
           round->draw<Word32>(2 * FRAME_SAMPLES, -(1LL << bits), (1LL << bits) - 1);
       Out<Word32> memory(round, round->draw<Word32>(FRAME_SAMPLES));
       synthesize_frame(aliased.data(), Out<Word16>(round, FRAME_SAMPLES), memory);
     }},
    {"dct4", 60,
     [](Round* round) {
       // 2^22 and 2^24 are what 960 and 240 points carry without saturation.
       const int bits = round->one_in(2) ? 31 : round->pick(20, 27);
       const Longs inputs[] = {
           round->draw<Word32>(FRAME_SAMPLES, -(1LL << bits), (1LL << bits) - 1),
           draw_aligned(round, 240, (1 << 24) + round->pick(-1, 1)),
           draw_aligned(round, 960, (1 << 22) + round->pick(-1, 1))};
       for (const Longs& x : inputs) {
         dct4_240(x.data(), Out<Word32>(round, FRAME_SAMPLES));
         dct4_960(x.data(), Out<Word32>(round, FRAME_SAMPLES));
       }
     }},
    {"band_norms", 40,
     // Some bands stand where their norm changes as their first coefficient grows.
     [](Round* round) {
       Longs spectrum = round->draw<Word32>(FRAME_SAMPLES);
       const auto norm = [&](int band, Word32 first) {
         Word16 norms[NUM_BANDS];
         spectrum[band_start[band]] = first;
         compute_band_norms(spectrum.data(), norms);
         return norms[band];
       };
       for (int band = round->pick(0, 10); band < NUM_BANDS; band += 11) {
         const Word32 high = border(round->pick(0, MAX_32), [&](Word32 first) {
           return norm(band, first) == norm(band, 0);
         });
         spectrum[band_start[band]] = round->one_in(2) ? high - 1 : high;
       }
       compute_band_norms(spectrum.data(), Out<Word16>(round, NUM_BANDS));
     }},
    {"normalisation", 80,
     [](Round* round) {
       Longs spectrum = round->draw<Word32>(NUM_CODED_COEFS);
       const Words norms = draw_norms(round);
       Out<Word16> coefs(round, NUM_CODED_COEFS);
       normalize_bands(spectrum.data(), norms.data(), NUM_BANDS, coefs);
     }},
    {"norm_coding", 400,
     // Any differences: damaged frames have them.
     [](Round* round) {
       const Words damaged = round->draw<Word16>(NUM_NORM_DELTAS, 0, 31);
       decode_norm_deltas(round->pick(0, 31), damaged.data(), false, Out<Word16>(round, NUM_BANDS));
       Out<Word16> deltas(round, NUM_NORM_DELTAS);
       Word16 first_norm = 0;
       encode_norm_deltas(Out<Word16>(round, draw_norms(round)), false, &first_norm, deltas);
       round->digest.add(norm_huffman_bits(deltas));
     }},
    {"bit_allocation", 600,
     // 2422 bits: the highest bitrate with the shortest norms.
     [](Round* round) {
       Words norms = round->draw<Word16>(NUM_BANDS, -5, 34);
       for (Word16& norm : norms) norm = 34 - norm;
       Out<Word16> weights(round, NUM_BANDS);
       compute_band_weights(norms.data(), round->one_in(2), weights);
       if (round->one_in(4)) std::ranges::copy(round->draw<Word16>(NUM_BANDS, -5, 37), weights + 0);
       Words bands(NUM_BANDS);
       std::iota(bands.begin(), bands.end(), 0);
       Out<Word16> order(round, bands);
       const int count = round->one_in(2) ? NUM_LOW_BANDS : NUM_BANDS;
       sort_bands_by_weight(weights, count, order);
       allocate_bits(weights, order, round->pick(-200, round->one_in(4) ? 64 : 2422), count,
                     Out<Word16>(round, NUM_BANDS));
     }},
    {"quantisation", 400,
     [](Round* round) {
       const int kind = round->pick(0, 5);
       const int limit = (1 << round->pick(8, 15)) - 1;
       const Words coefs =
           kind < 2 ? draw_near_ties(round) : round->draw<Word16>(NUM_CODED_COEFS, -limit, limit);
       const Words bits = kind < 2 ? Words(NUM_BANDS, 1) : draw_band_bits(round);
       quantize_bands(coefs.data(), bits.data(), Out<Word16>(round, NUM_CODED_COEFS));
     }},
    {"dequantisation", 100,
     [](Round* round) {
       Words index = round->draw<Word16>(NUM_CODED_COEFS);
       const Words bits = draw_band_bits(round);
       for (int b = 0; b < NUM_BANDS; ++b) {
         const int largest = bits[b] == 1 ? 255 : (1 << bits[b]) - 1;
         for (int i = band_start[b]; i < band_end[b]; ++i) index[i] &= largest;
       }
       dequantize_bands(index.data(), bits.data(), Out<Word16>(round, NUM_CODED_COEFS));
     }},
    {"leftover_bands", 100,
     [](Round* round) {
       Words bits = draw_band_bits(round), leftover(NUM_BANDS), order;
       for (int b = 0; b < NUM_BANDS; ++b) order.insert(order.begin() + round->pick(0, b), b);
       const int coded_bands = round->one_in(2) ? NUM_LOW_BANDS : NUM_BANDS;
       allocate_leftover_bits(order.data(), coded_bands, round->pick(-40, 200), bits.data(),
                              leftover.data());
       round->digest.add_all(leftover);
     }},
    {"noise", 150,
     [](Round* round) {
       const Words coefs = round->draw<Word16>(NUM_CODED_COEFS), bits = draw_band_bits(round);
       round->digest.add(estimate_noise_level(coefs.data(), bits.data()));
       const bool transient = round->one_in(2);
       const Words norms = draw_norms(round);
       Words filled = coefs;
       fill_spectrum(filled.data(), Out<Word32>(round, NUM_CODED_COEFS), bits.data(), transient,
                     norms.data(), transient ? 0 : round->pick(0, 3));
     }},
};

class Kernels : public testing::TestWithParam<Kernel> {};
INSTANTIATE_TEST_SUITE_P(Codec, Kernels, testing::ValuesIn(KERNELS),
                         [](const auto& kernel) { return kernel.param.name; });

TEST_P(Kernels, GiveWhatTheyGave) {
  for (int shape = 0; shape < static_cast<int>(std::size(SHAPES)); ++shape) {
    Round round = {shape, std::mt19937_64(shape)};
    for (int i = 0; i < GetParam().rounds; ++i, round.shape = shape) GetParam().run(&round);
    const std::string name = std::string(GetParam().name) + "." + SHAPES[shape].name;
    codec_test::expect_recorded("kernels", name, {round.digest.text()});
  }
}

}  // namespace
