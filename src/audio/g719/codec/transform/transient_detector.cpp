#include "transform/transient_detector.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>

#include "base/blocks.h"
#include "base/operators.h"

namespace g719 {

namespace {

constexpr Word16 DETECTION_FACTOR = 5461;  // Q15, 1 / 6.0004

// Energies are sums of 2 v^2 over at most 240 samples, below 2^40. The state holds them as
// high * 2^31 + low with low from 0 to 2^31 - 1.
using Energy = std::int64_t;

Energy load_energy(const g719_encoder_state* state) {
  return (Energy{state->energy_memory_high} << 31) + state->energy_memory_low;
}
void store_energy(g719_encoder_state* state, Energy energy) {
  state->energy_memory_high = static_cast<Word32>(energy >> 31);
  state->energy_memory_low = static_cast<Word32>(energy & MAX_32);
}

// The detector's high-pass is y[n] = 0.4931 y[n - 1] + 0.3733 (x[n] - x[n - 1]), half rounded up.
// Its second term, the drive, takes no feedback and is computed beforehand; these are the steps
// that remain.
constexpr Word32 FEEDBACK = 32316;  // Q16
constexpr Word32 GAIN = 24465;      // Q16

Word32 step(Word32 last, Word32 drive) { return (last * FEEDBACK + drive) >> 16; }

void feed_back(const Word32* drive, Word32 last, Word16* y) {
  for (int n = 0; n < SHORT_SAMPLES; ++n) {
    last = step(last, drive[n]);
    y[n] = static_cast<Word16>(last);
  }
}

// Every step waits for the one before, which costs more than its work. So the four blocks run side
// by side, and the later ones guess the output that they continue: they start from 0 some samples
// early. What is wrong with that halves at every step and is nearly always rounded away when the
// block begins. Where it was not, the block is done again from the right output.
void feed_back_blocks(const Word32* drive, Word32 last, Word16* y) {
  constexpr int LEAD = 20;
  Word32 state[SHORT_BLOCKS] = {last};
  for (int n = -LEAD; n < 0; ++n) {
    for (int b = 1; b < SHORT_BLOCKS; ++b) state[b] = step(state[b], drive[b * SHORT_SAMPLES + n]);
  }
  Word32 guess[SHORT_BLOCKS];
  std::copy_n(state, SHORT_BLOCKS, guess);
  for (int n = 0; n < SHORT_SAMPLES; ++n) {
    for (int b = 0; b < SHORT_BLOCKS; ++b) {
      const int at = b * SHORT_SAMPLES + n;
      state[b] = step(state[b], drive[at]);
      y[at] = static_cast<Word16>(state[b]);
    }
  }
  for (int b = 1; b < SHORT_BLOCKS; ++b) {
    const int start = b * SHORT_SAMPLES;
    if (guess[b] != y[start - 1]) feed_back(drive + start, y[start - 1], y + start);
  }
}

void feed_back_saturating(const Word32* drive, Word32 last, Word16* y) {
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    const std::int64_t sum = std::int64_t{last} * FEEDBACK + drive[n];
    y[n] = saturate(static_cast<Word32>(sum >> 16));
    last = y[n];
  }
}

// Outputs saturate to 16 bits, but not while no step of x exceeds 43000: an output of at most 31700
// makes the next sum at most 32316 * 31700 + 24465 * 43000 + 2^15 < 31700 * 2^16, and so the next
// output again at most 31700. The sum fits 32 bits then, too.
void transient_highpass(const Word16* x, Word16* y, Word16* output_memory, Word16* input_memory) {
  constexpr Word32 SMALL_STEP = 43000;
  constexpr Word32 SMALL_OUTPUT = 31700;
  constexpr Word32 HALF = 0x8000;
  Word32 drive[FRAME_SAMPLES];
  drive[0] = x[0] - *input_memory;
  for (int n = 1; n < FRAME_SAMPLES; ++n) drive[n] = x[n] - x[n - 1];
  Word32 largest_step = 0;
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    largest_step = std::max(largest_step, std::abs(drive[n]));
    drive[n] = GAIN * drive[n] + HALF;
  }

  if (largest_step <= SMALL_STEP && std::abs(*output_memory) <= SMALL_OUTPUT) {
    feed_back_blocks(drive, *output_memory, y);
  } else {
    feed_back_saturating(drive, *output_memory, y);
  }
  *output_memory = y[FRAME_SAMPLES - 1];
  *input_memory = x[FRAME_SAMPLES - 1];
}

// Each sample counts 2 v^2, but -32768 saturates and counts one less. The squares are added in two
// halves, so that 32 bits hold the sums.
Energy block_energy(const Word16* v) {
  Word32 upper = 0;
  Word32 lower = 0;
  Word32 saturated = 0;
  for (int i = 0; i < SHORT_SAMPLES; ++i) {
    const Word32 square = v[i] * v[i];
    upper += square >> 16;
    lower += square & 0xffff;
    saturated += v[i] == MIN_16 ? 1 : 0;
  }
  return 2 * ((Energy{upper} << 16) + lower) - saturated;
}

// Whether `energy` exceeds about six times `running`, in words of 31 bits: both lose as many low
// bits as `energy`, the larger one, has too many.
bool is_attack(Energy energy, Energy running) {
  if (energy <= running) return false;
  const int cut = std::max(0, 33 - std::countl_zero(static_cast<std::uint64_t>(energy)));
  const auto energy_word = static_cast<Word32>(energy >> cut);
  return L_mls(energy_word, DETECTION_FACTOR) > running >> cut;
}

}  // namespace

bool detect_transient(const Word16* samples, g719_encoder_state* state) {
  Word16 filtered[FRAME_SAMPLES];
  transient_highpass(samples, filtered, &state->filter_output_memory, &state->filter_input_memory);

  Energy running = load_energy(state);
  bool detected = false;
  for (int block = 0; block < SHORT_BLOCKS; ++block) {
    const Energy energy = block_energy(filtered + block * SHORT_SAMPLES);
    detected |= is_attack(energy, running);
    const Energy mean = (running + energy) >> 1;
    running = (running + mean) >> 1;
  }
  store_energy(state, running);

  const bool transient = detected || state->transient_hangover != 0;
  state->transient_hangover = detected;
  return transient;
}

}  // namespace g719
