// The decoder arrives at the encoder's norms, allocation and position in every frame.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "codec_fixture.h"
#include "envelope/band_layout.h"
#include "envelope/band_norms.h"
#include "envelope/norm_coding.h"
#include "envelope/spectrum_decoder.h"
#include "envelope/spectrum_encoder.h"
#include "envelope/transient_interleaving.h"
#include "frame/block_scaling.h"
#include "frame/frame_encoder.h"
#include "frame/soft_bits.h"
#include "lattice/noise.h"
#include "transform/analysis_window.h"
#include "transform/forward_transform.h"
#include "transform/transient_detector.h"

namespace {

using namespace codec_test;
using namespace g719;

using Bands = std::vector<Word16>;

// What both sides of a frame must have in common.
struct Outcome {
  Bands norm_index = Bands(NUM_BANDS);
  Bands band_bits = Bands(NUM_BANDS);
  std::ptrdiff_t end = 0;  // of the spectral fields, in bits
  bool operator==(const Outcome&) const = default;
};

Word16 budget_of(const auto& state, Word16 transient) {
  return transient != 0 ? state.spectral_budget_transient : state.spectral_budget_stationary;
}

Bands limited_norms(std::vector<Word32> spectrum, Word16 transient) {
  Bands norms(NUM_BANDS), levels(NUM_BANDS), deltas(NUM_NORM_DELTAS);
  if (transient == 0) {
    compute_band_norms(spectrum.data(), norms.data());
    encode_norm_deltas(levels.data(), NUM_BANDS, norms.data(), deltas.data());
    return norms;
  }
  interleave_transient_spectrum(spectrum.data());
  compute_band_norms(spectrum.data(), norms.data());
  Bands ordered(NUM_BANDS), ordered_levels(NUM_BANDS);
  order_transient_norms(norms.data(), levels.data(), ordered.data(), ordered_levels.data());
  encode_norm_deltas(ordered_levels.data(), NUM_BANDS, ordered.data(), deltas.data());
  restore_transient_norms(ordered.data(), norms.data(), levels.data());
  return norms;
}

// encode_frame with its outcome laid open.
Outcome encode_openly(const Word16* samples, Word16* bits, g719_encoder_state* state) {
  const Word16 transient = detect_transient(samples, state);
  write_soft_bits(transient, 1, bits);
  std::vector<Word32> block(FRAME), spectrum(FRAME);
  window_and_fold(samples, block.data(), state->analysis_memory);
  const Word16 shift = headroom(block.data(), FRAME);
  shift_left(block.data(), FRAME, shift);
  forward_transform(block.data(), spectrum.data(), transient);
  shift_right(spectrum.data(), FRAME, shift);

  Outcome outcome;
  outcome.norm_index = limited_norms(spectrum, transient);
  Word16 norm_coefs[NUM_CODED_COEFS];
  Word16* position = bits + 1;
  encode_spectrum(position, spectrum.data(), norm_coefs, outcome.band_bits.data(),
                  budget_of(*state, transient), state->frame_bits, transient);
  outcome.end = position - bits;
  if (transient == 0) {
    write_soft_bits(estimate_noise_level(norm_coefs, outcome.band_bits.data()), 2, position);
    position += 2;
  }
  std::fill(position, bits + state->frame_bits, SOFT_BIT_ZERO);
  return outcome;
}

Outcome decode_openly(const Word16* bits, const g719_encoder_state& state) {
  const Word16 transient = bits[0] == SOFT_BIT_ONE;
  Outcome outcome;
  Word16 norm_coefs[NUM_CODED_COEFS];
  const auto windows = codec_test::opened(bits, static_cast<std::size_t>(state.frame_bits));
  const BitWindow* position = windows.data() + 1;
  decode_spectrum(position, norm_coefs, outcome.band_bits.data(), budget_of(state, transient),
                  outcome.norm_index.data(), transient);
  outcome.end = position - windows.data();
  return outcome;
}

TEST(Agreement, DecoderArrivesAtTheEncodersEnvelopeAllocationAndPosition) {
  int frames = 0;
  std::set<std::pair<int, bool>> flags_seen;
  const auto check = [&](int frame_bytes, Signal signal) {
    const Samples input = make_signal(signal, 15, static_cast<unsigned>(frame_bytes));
    Encoder encoder(400 * frame_bytes);
    g719_encoder_state state;
    init_encoder_state(&state, static_cast<Word16>(8 * frame_bytes));
    for (std::size_t at = 0; at < input.size(); at += FRAME, ++frames) {
      SCOPED_TRACE(testing::Message() << frame_bytes << " bytes, signal "
                                      << static_cast<int>(signal) << ", frame " << at / FRAME);
      Word16 bits[MAX_FRAME_BITS + SOFT_BLOCK] = {};
      const Outcome encoded = encode_openly(input.data() + at, bits, &state);
      const Bytes bytes = encoder.encode(input.data() + at);
      for (int i = 0; i < state.frame_bits; ++i) {
        ASSERT_EQ(bits[i] == SOFT_BIT_ONE, (bytes[i / 8] >> (7 - i % 8) & 1) != 0) << "bit " << i;
      }
      const Outcome decoded = decode_openly(bits, state);
      ASSERT_EQ(decoded.norm_index, encoded.norm_index);
      ASSERT_EQ(decoded.band_bits, encoded.band_bits);
      ASSERT_EQ(decoded.end, encoded.end);
      ASSERT_LE(encoded.end, state.frame_bits - (bits[0] == SOFT_BIT_ONE ? 0 : 2));
      for (int flag = 0; flag < 4; ++flag) flags_seen.emplace(flag, bits[flag] == SOFT_BIT_ONE);
    }
  };
  for (const Signal signal : SIGNALS) {
    for (int size = 80; size <= 220; size += 10) check(size, signal);
    for (int size = 240; size <= 320; size += 20) check(size, signal);
  }
  EXPECT_GE(frames, 2000);
  EXPECT_EQ(flags_seen.size(), 8U) << "a flag of the frame never took one of its values";
}

}  // namespace
