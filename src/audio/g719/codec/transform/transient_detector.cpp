#include "transient_detector.h"

#include <algorithm>
#include <cstdlib>

#include "../operators/quiet_operators.h"

namespace g719 {

using namespace quiet;

namespace {

constexpr int BLOCKS = 4;
constexpr int BLOCK_SAMPLES = FRAME_SAMPLES / BLOCKS;
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

constexpr Word32 FEEDBACK = 32316;  // Q16
constexpr Word32 GAIN = 24465;      // Q16

Word32 step(Word32 last, Word32 driven) { return (last * FEEDBACK + driven) >> 16; }

// The recursion over one block. Outputs stay small enough that nothing saturates.
void feed_back(const Word32* driven, Word32 last, Word16* y) {
  for (int n = 0; n < BLOCK_SAMPLES; ++n) y[n] = static_cast<Word16>(last = step(last, driven[n]));
}

// The recursion is a serial chain, and waiting for it costs more than its work. So all blocks run
// at once, the later ones from a guess that was led through the samples before them: a wrong state
// loses half its error a step, and after 40 steps it is nearly always the right one. Where it is
// not, the block is done again.
void feed_back_blocks(const Word32* driven, Word32 last, Word16* y) {
  constexpr int LEAD = 40;
  Word32 state[BLOCKS] = {last};
  for (int n = -LEAD; n < 0; ++n) {
    for (int b = 1; b < BLOCKS; ++b) state[b] = step(state[b], driven[b * BLOCK_SAMPLES + n]);
  }
  Word32 guess[BLOCKS];
  std::copy_n(state, BLOCKS, guess);
  for (int n = 0; n < BLOCK_SAMPLES; ++n) {
    for (int b = 0; b < BLOCKS; ++b) {
      const int at = b * BLOCK_SAMPLES + n;
      state[b] = step(state[b], driven[at]);
      y[at] = static_cast<Word16>(state[b]);
    }
  }
  for (int b = 1; b < BLOCKS; ++b) {
    const int start = b * BLOCK_SAMPLES;
    if (guess[b] != y[start - 1]) feed_back(driven + start, y[start - 1], y + start);
  }
}

void feed_back_saturating(const Word32* driven, Word32 last, Word16* y) {
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    const std::int64_t sum = std::int64_t{last} * FEEDBACK + driven[n];
    y[n] = saturate(static_cast<Word32>(sum >> 16));
    last = y[n];
  }
}

// y[n] = 0.4931 y[n - 1] + 0.3733 (x[n] - x[n - 1]), half rounded up. Saturating after the sum of
// products and again after rounding comes to the same as one clamp of the rounded sum, and where no
// step of x exceeds 43000 nothing saturates: from |y| <= 31700 on, |y| stays below that, and the
// sum below 32316 * 31700 + 24465 * 43000 + 2^15 < 2^31.
void transient_highpass(const Word16* x, Word16* y, Word16* output_memory, Word16* input_memory) {
  constexpr Word32 SMALL_STEP = 43000;
  constexpr Word32 SMALL_OUTPUT = 31700;
  constexpr Word32 HALF = 0x8000;
  Word32 driven[FRAME_SAMPLES];
  driven[0] = x[0] - *input_memory;
  for (int n = 1; n < FRAME_SAMPLES; ++n) driven[n] = x[n] - x[n - 1];
  Word32 largest_step = 0;
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    largest_step = std::max(largest_step, std::abs(driven[n]));
    driven[n] = GAIN * driven[n] + HALF;
  }

  if (largest_step <= SMALL_STEP && std::abs(*output_memory) <= SMALL_OUTPUT) {
    feed_back_blocks(driven, *output_memory, y);
  } else {
    feed_back_saturating(driven, *output_memory, y);
  }
  *output_memory = y[FRAME_SAMPLES - 1];
  *input_memory = x[FRAME_SAMPLES - 1];
}

// Each sample counts 2 v^2, but -32768 saturates and counts one less. The squares are added in two
// halves, so that 32 bits hold the sums.
Energy block_energy(const Word16* v, int count) {
  Word32 upper = 0;
  Word32 lower = 0;
  Word32 saturated = 0;
  for (int i = 0; i < count; ++i) {
    const Word32 square = v[i] * v[i];
    upper += square >> 16;
    lower += square & 0xffff;
    saturated += v[i] == MIN_16 ? 1 : 0;
  }
  return 2 * ((Energy{upper} << 16) + lower) - saturated;
}

// Both energies are cut to one word with the shift that leaves `energy` no spare bit.
bool is_attack(Energy energy, Energy running) {
  if (energy <= running) return false;
  const int cut = std::max(0, 33 - std::countl_zero(static_cast<std::uint64_t>(energy)));
  const auto energy_word = static_cast<Word32>(energy >> cut);
  return L_mls(energy_word, DETECTION_FACTOR) > running >> cut;
}

}  // namespace

Word16 detect_transient(const Word16* samples, g719_encoder_state* state) {
  Word16 filtered[FRAME_SAMPLES];
  transient_highpass(samples, filtered, &state->filter_output_memory, &state->filter_input_memory);

  Energy running = load_energy(state);
  bool detected = false;
  for (int block = 0; block < BLOCKS; ++block) {
    const Energy energy = block_energy(filtered + block * BLOCK_SAMPLES, BLOCK_SAMPLES);
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
