#include "transient_detector.h"

#include "../operators/basic_operators.h"

namespace g719 {

namespace {

constexpr int BLOCKS = 4;
constexpr int BLOCK_SAMPLES = FRAME_SAMPLES / BLOCKS;
constexpr Word16 DETECTION_FACTOR = 5461;  // Q15, 1 / 6.0004

// high * 2^31 + low, low from 0 to 2^31 - 1.
struct Energy {
  Word32 high;
  Word32 low;
};

// y[n] = 0.4931 y[n - 1] + 0.3733 (x[n] - x[n - 1])
void transient_highpass(const Word16* x, Word16* y, Word16* output_memory, Word16* input_memory) {
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    const Word32 fed_back = L_mac0(0, *output_memory, 32316);
    y[n] = round(L_msu0(L_mac0(fed_back, x[n], 24465), *input_memory, 24465));
    *output_memory = y[n];
    *input_memory = x[n];
  }
}

// Moves the carry that the overflow flag tells of from the low word into the high one.
void carry_over(Energy* sum) {
  if (flags.overflow != 0) {
    sum->high = L_add(sum->high, 1);
    flags.overflow = 0;
    sum->low &= MAX_32;
  }
}

Energy block_energy(const Word16* v, int count) {
  Energy energy = {0, 0};
  flags = {};
  for (int i = 0; i < count; ++i) {
    energy.low = L_macNs(energy.low, v[i], v[i]);
    carry_over(&energy);
  }
  return energy;
}

Energy mean(Energy a, Energy b) {
  Energy sum;
  sum.high = L_add(a.high, b.high);
  flags = {};
  sum.low = L_add_c(a.low, b.low);
  carry_over(&sum);
  const Word32 half_of_odd = (sum.high & 1) != 0 ? 1 << 30 : 0;
  return {L_shr(sum.high, 1), L_add(L_shr(sum.low, 1), half_of_odd)};
}

bool exceeds(Energy a, Energy b) {
  const Word32 difference = L_sub(a.high, b.high);
  return difference > 0 || (difference == 0 && L_sub(a.low, b.low) > 0);
}

// Both energies are cut to one word with the shift that leaves `energy` no spare bit.
bool is_attack(Energy energy, Energy running) {
  if (!exceeds(energy, running)) return false;
  const Word16 up = energy.high != 0 ? norm_l(energy.high) : Word16{31};
  const Word16 down = sub(31, up);
  const Word32 cut = L_add(L_shl(energy.high, up), L_shr(energy.low, down));
  const Word32 running_cut = L_add(L_shl(running.high, up), L_shr(running.low, down));
  return L_sub(L_mls(cut, DETECTION_FACTOR), running_cut) > 0;
}

}  // namespace

Word16 detect_transient(const Word16* samples, g719_encoder_state* state) {
  Word16 filtered[FRAME_SAMPLES];
  transient_highpass(samples, filtered, &state->filter_output_memory, &state->filter_input_memory);

  Energy running = {state->energy_memory_high, state->energy_memory_low};
  bool detected = false;
  for (int block = 0; block < BLOCKS; ++block) {
    const Energy energy = block_energy(filtered + block * BLOCK_SAMPLES, BLOCK_SAMPLES);
    detected |= is_attack(energy, running);
    running = mean(running, mean(running, energy));
  }
  state->energy_memory_high = running.high;
  state->energy_memory_low = running.low;

  const bool transient = detected || state->transient_hangover != 0;
  state->transient_hangover = detected;
  return transient;
}

}  // namespace g719
