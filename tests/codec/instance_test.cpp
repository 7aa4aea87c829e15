// Encoder and decoder through their public calls.

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <new>
#include <thread>

#include "codec_fixture.h"

namespace {
bool memory_is_short = false;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return memory_is_short ? nullptr : ::operator new(size);
}

namespace {

using namespace codec_test;

std::vector<Bytes> encode_all(int bitrate, const Samples& input) {
  Encoder encoder(bitrate);
  std::vector<Bytes> frames;
  for (std::size_t at = 0; at < input.size(); at += FRAME) {
    frames.push_back(encoder.encode(input.data() + at));
  }
  return frames;
}

double energy(const Samples& samples) {
  double sum = 0;
  for (const double sample : samples) sum += sample * sample;
  return sum;
}

bool is_transient(const Bytes& frame) { return (frame[0] & 0x80) != 0; }

TEST(Instance, CreateRefusesOtherBitrates) {
  constexpr int LARGEST = std::numeric_limits<int>::max();
  for (const int bitrate : {0, -32000, 31600, 31999, 32001, 32200, 128001, 128400,
                            65536 * 400 + 32000, LARGEST, -LARGEST - 1}) {
    EXPECT_EQ(g719_encoder_create(bitrate), nullptr) << bitrate;
    EXPECT_EQ(g719_decoder_create(bitrate), nullptr) << bitrate;
  }
}

TEST(Instance, CreateReturnsNullWithoutMemory) {
  memory_is_short = true;
  const auto* encoder = g719_encoder_create(32000);
  const auto* decoder = g719_decoder_create(32000);
  memory_is_short = false;
  EXPECT_EQ(encoder, nullptr);
  EXPECT_EQ(decoder, nullptr);
  g719_encoder_destroy(nullptr);
  g719_decoder_destroy(nullptr);
}

TEST(Instance, EveryBitrateCodesMusicTheBetterTheMoreBitsItHas) {
  const Samples input = make_signal(Signal::MUSIC, 12);
  for (int bitrate = 32000; bitrate <= 128000; bitrate += 400) {
    Encoder encoder(bitrate);
    Decoder decoder(bitrate);
    ASSERT_EQ(encoder.frame_bytes(), static_cast<std::size_t>(bitrate) / 400);
    ASSERT_EQ(decoder.frame_bytes(), encoder.frame_bytes());
    ASSERT_EQ(g719_encoder_frame_samples(encoder.get()), 960);
    ASSERT_EQ(g719_decoder_frame_samples(decoder.get()), 960);
    Samples decoded;
    for (std::size_t at = 0; at < input.size(); at += FRAME) {
      Bytes frame(encoder.frame_bytes() + 4, 0x5A);
      g719_encoder_encode(encoder.get(), input.data() + at, frame.data());
      ASSERT_EQ(Bytes(frame.end() - 4, frame.end()), Bytes(4, 0x5A)) << "wrote past the frame";
      const Samples samples = decoder.decode(frame.data());
      decoded.insert(decoded.end(), samples.begin(), samples.end());
    }
    ASSERT_GT(snr_db(input, decoded), std::min(33 + (bitrate - 32000) / 2500.0, 44.0)) << bitrate;
  }
}

TEST(Instance, SilenceStaysSilentAndFramesEndInZeroBits) {
  for (const int bitrate : {32000, 48000, 64000, 128000}) {
    const auto frames = encode_all(bitrate, Samples(3 * FRAME));
    Decoder decoder(bitrate);
    for (const Bytes& frame : frames) {
      EXPECT_EQ(frame, frames[0]);
      EXPECT_EQ(frame.back(), 0);
      EXPECT_EQ(decoder.decode(frame.data()), Samples(FRAME));
    }
  }
}

TEST(Instance, AnAttackMarksItsFrameAndTheNext) {
  Samples input(6 * FRAME);
  input[2 * FRAME + 500] = 20000;
  std::vector<bool> marks;
  for (const Bytes& frame : encode_all(48000, input)) marks.push_back(is_transient(frame));
  EXPECT_EQ(marks, (std::vector<bool>{false, false, true, true, false, false}));
}

TEST(Instance, SmallFramesCodeTheTopBandsWhereTheLoudestIs) {
  const auto codes_all_bands = [](int bitrate, int hertz) {
    Samples input(3 * FRAME);
    for (std::size_t n = 0; n < input.size(); ++n) {
      input[n] = static_cast<std::int16_t>(tone(hertz, n) / 4);
    }
    return (encode_all(bitrate, input).back()[0] & 0x40) != 0;
  };
  EXPECT_FALSE(codes_all_bands(32000, 11900));  // band 33
  EXPECT_TRUE(codes_all_bands(32000, 12500));   // band 34
  EXPECT_TRUE(codes_all_bands(32000, 19600));
  EXPECT_FALSE(codes_all_bands(47600, 1000));
  EXPECT_TRUE(codes_all_bands(48000, 1000));
}

TEST(Instance, LostFramesRepeatTheLastSpectrumAtHalfTheLevelEach) {
  for (const Signal signal : {Signal::MUSIC, Signal::CLICKS}) {
    const int bitrate = 48000;
    const auto frames = encode_all(bitrate, make_signal(signal, 12));
    const Bytes garbage(frames[0].size(), 0xFF);
    Decoder losing(bitrate), other(bitrate), lossless(bitrate);
    EXPECT_EQ(losing.decode(garbage.data(), true), Samples(FRAME)) << "nothing to repeat yet";
    for (int i = 0; i < 9; ++i) {
      lossless.decode(frames[i].data());
      other.decode(frames[i].data());
      losing.decode(frames[i].data());
    }
    const g719_decoder_state kept = losing.get()->state;
    double before = 0;
    for (int loss = 0; loss < 8; ++loss) {
      const Samples output = losing.decode(garbage.data(), true);
      EXPECT_EQ(output, other.decode(frames[loss].data(), true)) << "the bytes mattered";
      const g719_decoder_state& state = losing.get()->state;
      for (std::size_t i = 0; i < FRAME; ++i) {
        ASSERT_EQ(state.previous_spectrum[i], kept.previous_spectrum[i] >> (loss + 1));
      }
      EXPECT_EQ(state.previous_spectrum_shift, kept.previous_spectrum_shift);
      EXPECT_EQ(state.previous_transient_flag, kept.previous_transient_flag);
      if (loss > 1 && loss < 5) {
        EXPECT_NEAR(std::sqrt(energy(output) / before), 0.5, 0.05);
      }
      before = energy(output);
    }
    EXPECT_NE(losing.decode(frames[9].data()), lossless.decode(frames[9].data()));
    EXPECT_EQ(losing.decode(frames[10].data()), lossless.decode(frames[10].data())) << "recovers";
  }
}

TEST(Instance, TwoThreadsEncodeWhatEachEncodesAlone) {
  const Samples inputs[] = {make_signal(Signal::CLICKS, 200), make_signal(Signal::FULL_SCALE, 200)};
  const std::vector<Bytes> alone[] = {encode_all(32000, inputs[0]), encode_all(64000, inputs[1])};
  std::vector<Bytes> together[2];
  std::thread first([&] { together[0] = encode_all(32000, inputs[0]); });
  std::thread second([&] { together[1] = encode_all(64000, inputs[1]); });
  first.join();
  second.join();
  EXPECT_TRUE(std::equal(alone, alone + 2, together));
}

}  // namespace
