// Every kernel over many inputs of each shape: all that it returns and writes, and the cells before
// and behind its outputs, have the digest that they had.

#include <gtest/gtest.h>

#include <limits>

#include "envelope/band_norms.h"
#include "envelope/bit_allocation.h"
#include "envelope/norm_coding.h"
#include "envelope/normalisation.h"
#include "frame/block_scaling.h"
#include "lattice/codebook.h"
#include "lattice/lattice_decoder.h"
#include "lattice/lattice_encoder.h"
#include "lattice/noise.h"
#include "material.h"
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

// One round of a kernel.
struct Round {
  int shape;  // of what is drawn from here on
  codec_test::Uniform<std::mt19937_64, std::int64_t> pick;
  codec_test::Digest digest{};

  // Value i of the array that is drawn: its limits, a uniform value between them, and what runs
  // through the array.
  std::int64_t i = 0, low = 0, high = 0, uniform = 0, level = 0, path = 0, slope = 0;

  bool one_in(int n) { return pick(1, n) == 1; }
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

template <typename T, typename Limits = std::numeric_limits<T>>
std::vector<T> draw(Round& r, int count, std::int64_t low = Limits::min(),
                    std::int64_t high = Limits::max()) {
  r.low = low, r.high = high, r.slope = 0;
  r.level = r.pick(0, Limits::digits);
  r.path = r.pick(low, high);
  std::vector<T> values(count);
  for (r.i = 0; r.i < count; ++r.i) {
    r.uniform = r.pick(low, high);
    values[r.i] = std::clamp(SHAPES[r.shape].value(r), low, high);
  }
  return values;
}

// An array that a kernel writes, between guards; at its end it goes into the round's digest.
template <typename T>
struct Out {
  Out(Round& r, const std::vector<T>& content)
      : digest(&r.digest), cells(content.size() + 2 * GUARDS, GUARD) {
    std::ranges::copy(content, *this + 0);
  }
  ~Out() {
    const auto begin = cells.begin() + GUARDS, end = cells.end() - GUARDS;
    EXPECT_EQ(std::count(cells.begin(), begin, GUARD), GUARDS) << "before an output";
    EXPECT_EQ(std::count(end, cells.end(), GUARD), GUARDS) << "behind an output";
    digest->add_all(std::vector<T>(begin, end));
  }
  operator T*() { return cells.data() + GUARDS; }

  static constexpr int GUARDS = 16, GUARD = 0x5A5A;
  codec_test::Digest* digest;
  std::vector<T> cells;
};

// The last value from `low` to before `high` for which the condition holds, as it does for `low`.
std::int64_t last_with(const auto& condition, std::int64_t low, std::int64_t high) {
  while (high - low > 1) {
    const std::int64_t middle = low + (high - low) / 2;
    (condition(middle) ? low : high) = middle;
  }
  return low;
}

// A spectrum or folded block as the drivers hand it on: the largest magnitude has `spare` spare
// bits, or is whatever it is.
Longs draw_block(Round& r, int spare) {
  Longs block = draw<Word32>(r, FRAME_SAMPLES);
  const int shift = headroom(block.data(), FRAME_SAMPLES) - spare;
  if (!r.one_in(3)) shift_left(block.data(), FRAME_SAMPLES, shift);
  return block;
}

// Values of equal magnitude whose signs make one output of the FFT, and so some sum on the way, as
// large as can be.
Longs draw_aligned(Round& r, int points, Word32 magnitude) {
  const int pairs = points / 2;
  const int output = r.one_in(2) ? 0 : r.pick(0, pairs - 1), phase = r.pick(0, 7);
  Longs x(FRAME_SAMPLES);
  for (int i = 0; i < FRAME_SAMPLES / 2; ++i) {
    const int k = i % pairs, first = i / pairs * points;
    const int angle = (phase * points + 4 * k + 1 + 16 * output * k) % (8 * points);  // of 2 pi
    x[first + 2 * k] = angle > 2 * points && angle < 6 * points ? -magnitude : magnitude;
    x[first + points - 1 - 2 * k] = angle > 4 * points ? -magnitude : magnitude;
  }
  return x;
}

Words draw_norms(Round& r) {
  if (r.one_in(2)) r.shape = UNIFORM;
  return draw<Word16>(r, NUM_BANDS, 0, NUM_NORM_LEVELS - 1);
}

// Bits for each band: any, one everywhere, or some in few bands.
Words draw_band_bits(Round& r) {
  r.shape = r.one_in(2) ? UNIFORM : SPARSE;
  return draw<Word16>(r, NUM_BANDS, 0, r.one_in(3) ? 1 : MAX_BAND_BITS);
}

// Some large components of nearly one magnitude in each vector, so that classes nearly tie.
Words draw_near_ties(Round& r) {
  Words coefs;
  while (coefs.size() < NUM_CODED_COEFS) {
    const int level = r.pick(200, 3600);
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      const int large = level + r.pick(-8, 8);
      coefs.push_back(r.one_in(3) ? large : r.one_in(2) ? -large : r.pick(-150, 150));
    }
  }
  return coefs;
}

// Quantises, and notes the indices that mean something: one for each vector of a band with 1 bit,
// all of a band with more.
void quantize(Round& r, const Words& coefs, const Words& band_bits) {
  Words index(NUM_CODED_COEFS);
  quantize_bands(coefs.data(), band_bits.data(), index.data());
  for (int b = 0; b < NUM_BANDS; ++b) {
    const int step = band_bits[b] == 1 ? VECTOR_SIZE : 1, end = band_bits[b] > 0 ? band_end[b] : 0;
    for (int i = band_start[b]; i < end; i += step) r.digest.add(index[i]);
  }
}

// The kernels' rounds. They draw one thing at a time, since compilers differ in the order of
// arguments.

// At, just below and anywhere below the running energy from which on the frame counts as
// stationary.
void transient_detector(Round& r) {
  const Words samples = draw<Word16>(r, FRAME_SAMPLES);
  g719_encoder_state before = {}, s;
  if (r.one_in(2)) before.filter_output_memory = draw<Word16>(r, 1)[0];
  if (r.one_in(2)) before.filter_input_memory = r.one_in(2) ? MIN_16 : MAX_16;
  const auto is_transient = [&](std::int64_t energy) {
    s = before;
    s.energy_memory_high = energy >> 31;
    s.energy_memory_low = energy & MAX_32;
    return detect_transient(samples.data(), &s);
  };
  const std::int64_t last = last_with(is_transient, -1, std::int64_t{1} << 48);
  for (const std::int64_t energy : {last + 1, last, r.pick(0, last + 1)}) {
    before.transient_hangover = r.one_in(4);
    r.digest.add(is_transient(std::max<std::int64_t>(energy, 0)));
    r.digest.add_all(Longs{s.transient_hangover, s.filter_output_memory, s.filter_input_memory,
                           s.energy_memory_high, s.energy_memory_low});
  }
}

void analysis(Round& r) {
  const Words samples = draw<Word16>(r, FRAME_SAMPLES);
  Out memory(r, draw<Word32>(r, 480));
  window_and_fold(samples.data(), Out(r, Longs(FRAME_SAMPLES)), memory);
}

void transforms(Round& r) {
  for (const bool transient : {false, true}) {
    forward_transform(draw_block(r, 0).data(), Out(r, Longs(FRAME_SAMPLES)), transient);
    inverse_transform(draw_block(r, 7).data(), Out(r, Longs(2 * FRAME_SAMPLES)), transient);
  }
}

void synthesis(Round& r) {
  const Word32 limit = r.one_in(2) ? MAX_32 : (1 << 24) - 1;  // the edge of what 16 bits hold
  const Longs aliased = draw<Word32>(r, 2 * FRAME_SAMPLES, -limit - 1, limit);
  Out memory(r, draw<Word32>(r, FRAME_SAMPLES));
  synthesize_frame(aliased.data(), 0, Out(r, Words(FRAME_SAMPLES)), memory);
}

// 2^22 and 2^24 are what 960 and 240 points carry without saturation.
void dct4(Round& r) {
  const Word32 limit = MAX_32 >> (r.one_in(2) ? 0 : 31 - r.pick(20, 27));
  const Longs inputs[] = {draw<Word32>(r, FRAME_SAMPLES, -limit - 1, limit),
                          draw_aligned(r, 240, (1 << 24) + r.pick(-1, 1)),
                          draw_aligned(r, 960, (1 << 22) + r.pick(-1, 1))};
  for (const Longs& x : inputs) {
    dct4_240(x.data(), Out(r, Longs(FRAME_SAMPLES)));
    dct4_960(x.data(), Out(r, Longs(FRAME_SAMPLES)));
  }
}

// Some bands stand where their norm changes as their first coefficient grows.
void band_norms(Round& r) {
  Longs spectrum = draw<Word32>(r, FRAME_SAMPLES);
  Word16 norms[NUM_BANDS];
  for (int band = r.pick(0, 10); band < NUM_BANDS; band += 11) {
    Word32& first = spectrum[band_start[band]];
    first = 0;
    compute_band_norms(spectrum.data(), norms);
    const auto keeps_norm = [&, norm = norms[band]](Word32 value) {
      first = value;
      compute_band_norms(spectrum.data(), norms);
      return norms[band] == norm;
    };
    first = last_with(keeps_norm, 0, r.pick(0, MAX_32));
    first += r.pick(0, 1);
  }
  compute_band_norms(spectrum.data(), Out(r, Words(NUM_BANDS)));
}

void normalisation(Round& r) {
  Longs spectrum = draw<Word32>(r, NUM_CODED_COEFS);
  const Words norms = draw_norms(r);
  normalize_bands(spectrum.data(), norms.data(), NUM_BANDS, Out(r, Words(NUM_CODED_COEFS)));
}

// Any differences: damaged frames have them.
void norm_coding(Round& r) {
  const Words damaged = draw<Word16>(r, NUM_NORM_DELTAS, 0, 31);
  decode_norm_deltas(r.pick(0, 31), damaged.data(), false, Out(r, Words(NUM_BANDS)));
  Out deltas(r, Words(NUM_NORM_DELTAS));
  Word16 first_norm = 0;
  encode_norm_deltas(Out(r, draw_norms(r)), false, &first_norm, deltas);
  r.digest.add(norm_huffman_bits(deltas));
}

// 2422 bits: the highest bitrate with the shortest norms.
void bit_allocation(Round& r) {
  Words norms = draw<Word16>(r, NUM_BANDS, -5, 34), bands;
  for (Word16& norm : norms) norm = 34 - norm;
  Out weights(r, Words(NUM_BANDS));
  compute_band_weights(norms.data(), r.one_in(2), weights);
  if (r.one_in(4)) std::ranges::copy(draw<Word16>(r, NUM_BANDS, -5, 37), weights + 0);
  while (bands.size() < NUM_BANDS) bands.push_back(bands.size());
  Out order(r, bands);
  const int count = r.one_in(2) ? NUM_LOW_BANDS : NUM_BANDS;
  sort_bands_by_weight(weights, count, order);
  const int bits = r.pick(-200, r.one_in(4) ? 64 : 2422);
  allocate_bits(weights, order, bits, count, Out(r, Words(NUM_BANDS)));
}

void quantisation(Round& r) {
  const int kind = r.pick(0, 5), limit = (1 << r.pick(8, 15)) - 1;
  const Words coefs =
      kind < 2 ? draw_near_ties(r) : draw<Word16>(r, NUM_CODED_COEFS, -limit, limit);
  quantize(r, coefs, kind < 2 ? Words(NUM_BANDS, 1) : draw_band_bits(r));
}

void dequantisation(Round& r) {
  Words index = draw<Word16>(r, NUM_CODED_COEFS);
  const Words bits = draw_band_bits(r);
  for (int b = 0; b < NUM_BANDS; ++b) {
    const Word16 largest = bits[b] == 1 ? 255 : (1 << bits[b]) - 1;
    for (int i = band_start[b]; i < band_end[b]; ++i) index[i] &= largest;
  }
  dequantize_bands(index.data(), bits.data(), Out(r, Words(NUM_CODED_COEFS)));
}

void leftover_bands(Round& r) {
  const Words coefs = draw<Word16>(r, NUM_CODED_COEFS);
  Words bits = draw_band_bits(r), leftover(NUM_BANDS), order;
  for (int b = 0; b < NUM_BANDS; ++b) order.insert(order.begin() + r.pick(0, b), b);
  const int count = r.one_in(2) ? NUM_LOW_BANDS : NUM_BANDS;
  allocate_leftover_bits(order.data(), count, r.pick(-40, 200), bits.data(), leftover.data());
  quantize(r, coefs, leftover);
}

void noise(Round& r) {
  Words coefs = draw<Word16>(r, NUM_CODED_COEFS), bits = draw_band_bits(r);
  r.digest.add(estimate_noise_level(coefs.data(), bits.data()));
  const bool transient = r.one_in(2);
  const Words norms = draw_norms(r);
  fill_spectrum(coefs.data(), Out(r, Longs(NUM_CODED_COEFS)), bits.data(), transient, norms.data(),
                transient ? 0 : r.pick(0, 3));
}

constexpr struct Kernel {
  const char* name;
  int rounds;
  void (*run)(Round& r);
} KERNELS[] = {
    {"transient_detector", 70, transient_detector},
    {"window_and_fold", 40, analysis},
    {"transforms", 60, transforms},
    {"synthesis", 80, synthesis},
    {"dct4", 60, dct4},
    {"band_norms", 40, band_norms},
    {"normalisation", 80, normalisation},
    {"norm_coding", 400, norm_coding},
    {"bit_allocation", 600, bit_allocation},
    {"quantisation", 300, quantisation},
    {"dequantisation", 100, dequantisation},
    {"leftover_bands", 100, leftover_bands},
    {"noise", 150, noise},
};

class Kernels : public testing::TestWithParam<Kernel> {};
INSTANTIATE_TEST_SUITE_P(, Kernels, testing::ValuesIn(KERNELS),
                         [](const auto& kernel) { return kernel.param.name; });

TEST_P(Kernels, GiveWhatTheyGave) {
  for (int shape = 0; shape < static_cast<int>(std::size(SHAPES)); ++shape) {
    Round r = {shape, decltype(Round::pick)(shape)};
    for (int i = 0; i < GetParam().rounds; ++i, r.shape = shape) GetParam().run(r);
    const std::string name = std::string(GetParam().name) + "." + SHAPES[shape].name;
    codec_test::expect_recorded("kernels", name, r.digest.text());
  }
}

}  // namespace
