// Any bytes decode, and nothing outside the buffers is touched.

#include <gtest/gtest.h>

#include <algorithm>

#include "codec_fixture.h"
#include "envelope/band_layout.h"
#include "envelope/spectrum_decoder.h"
#include "frame/block_scaling.h"
#include "frame/frame_decoder.h"
#include "frame/soft_bits.h"
#include "lattice/noise.h"

namespace {

using namespace codec_test;

constexpr int FRAMES_PER_SIZE = 415;  // of 241 sizes: 100,015 frames
constexpr std::size_t GUARD = 64;     // samples
constexpr std::int16_t UNTOUCHED = 0x5A5A;

// Short patterns of bits over and over: among them all zeros, all ones, and the longest code words
// at every place, which make a frame ask for far more bits than it has.
void fill_with_pattern(Bytes* frame, Random& random) {
  const int period = random(1, 12);
  const int pattern = random(0, (1 << period) - 1);
  for (std::size_t bit = 0; bit < 8 * frame->size(); ++bit) {
    const bool one = (pattern >> (bit % static_cast<std::size_t>(period)) & 1) != 0;
    const int mask = 0x80 >> (bit % 8);
    (*frame)[bit / 8] = static_cast<std::uint8_t>(((*frame)[bit / 8] & ~mask) | (one ? mask : 0));
  }
}

void fill_randomly(Bytes* frame, Random& random) {
  for (std::uint8_t& byte : *frame) byte = static_cast<std::uint8_t>(random(0, 255));
}

// What can reach a decoder; `intact` is a frame of the encoder.
Bytes hostile_frame(const Bytes& intact, int kind, Random& random) {
  Bytes frame = intact;
  switch (kind) {
    case 0:
      fill_randomly(&frame, random);
      break;
    case 1:
      fill_with_pattern(&frame, random);
      break;
    case 2:  // a plausible head, then a pattern where the coefficients are
      fill_with_pattern(&frame, random);
      std::copy_n(intact.begin(), random(3, 40), frame.begin());
      break;
    default:  // a few wrong bits
      for (int flips = random(1, 8); flips > 0; --flips) {
        const int bit = random(0, static_cast<int>(8 * frame.size()) - 1);
        frame[static_cast<std::size_t>(bit) / 8] ^= static_cast<std::uint8_t>(1 << (bit % 8));
      }
  }
  if (random(0, 2) == 0) frame[0] |= 0x70;  // all bands, both Huffman codes
  return frame;
}

TEST(Robustness, AnyBytesDecodeInsideTheBuffers) {
  Random random(21);
  for (int size = 80; size <= 320; ++size) {
    SCOPED_TRACE(testing::Message() << size << " bytes");
    std::vector<Bytes> intact;
    Encoder encoder(400 * size);
    for (const Signal signal : {Signal::NOISE, Signal::CLICKS, Signal::COMB}) {
      const Samples input = make_signal(signal, 3, static_cast<unsigned>(size));
      for (int i = 0; i < 3; ++i) intact.push_back(encoder.encode(input.data() + i * FRAME));
    }
    Decoder decoder(400 * size);
    for (int i = 0; i < FRAMES_PER_SIZE; ++i) {
      const Bytes frame =
          hostile_frame(intact[static_cast<std::size_t>(i) % intact.size()], random(0, 3), random);
      Samples output(GUARD + FRAME + GUARD, UNTOUCHED);
      const Bytes sent = frame;
      g719_decoder_decode(decoder.get(), frame.data(), output.data() + GUARD, random(0, 7) == 0);
      const auto untouched = [](std::int16_t sample) { return sample == UNTOUCHED; };
      ASSERT_TRUE(std::all_of(output.begin(), output.begin() + GUARD, untouched));
      ASSERT_TRUE(std::all_of(output.end() - GUARD, output.end(), untouched));
      ASSERT_FALSE(std::all_of(output.begin(), output.end(), untouched));
      ASSERT_EQ(frame, sent);
    }
    EXPECT_EQ(decoder.get()->bitrate, 400 * size);
    EXPECT_EQ(decoder.get()->state.frame_bits, 8 * size);
  }
}

using SoftBits = std::vector<g719::Word16>;

SoftBits soft_bits_of(const Bytes& frame) {
  SoftBits bits;
  for (std::size_t i = 0; i < 8 * frame.size(); ++i) {
    const bool one = (frame[i / 8] & 0x80 >> (i % 8)) != 0;
    bits.push_back(one ? g719::SOFT_BIT_ONE : g719::SOFT_BIT_ZERO);
  }
  return bits;
}

// The spectrum of a stationary frame that zeros follow; *read receives the bits it takes.
std::vector<g719::Word32> decoded_spectrum(const SoftBits& bits, g719::Word16 budget,
                                           std::ptrdiff_t* read) {
  const auto windows = codec_test::opened(bits);
  const g719::BitWindow* position = windows.data() + 1;
  Samples norm_coefs(g719::NUM_CODED_COEFS), band_bits(g719::NUM_BANDS), norms(g719::NUM_BANDS);
  g719::decode_spectrum(position, norm_coefs.data(), band_bits.data(), budget, norms.data(), 0);
  g719::Word16 noise_level = 0;
  g719::read_soft_bits(position, g719::NOISE_LEVEL_BITS, &noise_level);
  *read = position + g719::NOISE_LEVEL_BITS - windows.data();
  std::vector<g719::Word32> spectrum(FRAME);
  g719::fill_spectrum(norm_coefs.data(), spectrum.data(), band_bits.data(), 0, norms.data(),
                      noise_level);
  return spectrum;
}

TEST(Robustness, BitsBehindTheFrameAndOddSoftBitsReadAsZeros) {
  constexpr g719::Word16 ODD_SOFT_BITS[] = {0, 1, 128, 130, 255, -127, -32768, 32767};
  Random random(22);
  int overruns = 0;
  for (int i = 0; i < 1000; ++i) {
    Bytes frame(i % 2 == 0 ? 80 : 320);
    fill_with_pattern(&frame, random);
    frame[0] = static_cast<std::uint8_t>((frame[0] | 0x70) & 0x7F);
    SoftBits bits = soft_bits_of(frame);
    g719_decoder_state state;
    g719::init_decoder_state(&state, static_cast<g719::Word16>(bits.size()));
    std::ptrdiff_t read = 0;
    auto expected = decoded_spectrum(bits, state.spectral_budget_stationary, &read);
    overruns += read > state.frame_bits ? 1 : 0;

    for (g719::Word16& bit : bits) {
      if (bit == g719::SOFT_BIT_ZERO) bit = ODD_SOFT_BITS[random(0, 7)];
    }
    bits.resize(2 * g719::MAX_FRAME_BITS, g719::SOFT_BIT_ONE);
    Samples output(FRAME);
    g719::decode_frame(bits.data(), 0, output.data(), &state);
    g719::shift_left(expected.data(), FRAME, state.previous_spectrum_shift);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), state.previous_spectrum));
  }
  EXPECT_GT(overruns, 100);
}

}  // namespace
