// The public calls: what they refuse, and what they share.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <new>
#include <thread>

#include "codec_fixture.h"
#include "frame/frame_decoder.h"

namespace {
bool memory_is_short = false;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return memory_is_short ? nullptr : ::operator new(size);
}

namespace {

using namespace codec_test;

TEST(Instance, IsRefusedForOtherBitratesAndWithoutMemory) {
  const auto expect_refused = [](int bitrate) {
    EXPECT_EQ(g719_encoder_create(bitrate), nullptr) << bitrate;
    EXPECT_EQ(g719_decoder_create(bitrate), nullptr) << bitrate;
  };
  constexpr int LARGEST = std::numeric_limits<int>::max();
  for (const int bitrate : {0, -32000, 31600, 31999, 32001, 32200, 128001, 128400,
                            65536 * 400 + 32000, LARGEST, -LARGEST - 1}) {
    expect_refused(bitrate);
  }
  memory_is_short = true;
  expect_refused(32000);
  memory_is_short = false;
  g719_encoder_destroy(nullptr);
  g719_decoder_destroy(nullptr);
}

// Soft bits behind the frame do not matter, and those that are not one count as zero.
TEST(Instance, OnlyTheFramesOwnOnesCount) {
  constexpr g719::Word16 ODD_SOFT_BITS[] = {0, 1, 128, 130, 255, -127, -32768, 32767};
  Random random(22);
  for (int i = 0; i < 200; ++i) {
    Bytes frame(i % 2 == 0 ? 80 : 320, random(0, 255));  // may ask for more bits than it has
    frame[0] |= 0x70;
    g719_decoder_state state;
    g719::init_decoder_state(&state, 8 * frame.size());
    Samples bits(2 * g719::MAX_FRAME_BITS, g719::SOFT_BIT_ONE), output(FRAME);
    for (std::size_t bit = 0; bit < 8 * frame.size(); ++bit) {
      if ((frame[bit / 8] & 0x80 >> (bit % 8)) == 0) bits[bit] = ODD_SOFT_BITS[random(0, 7)];
    }
    g719::decode_frame(bits.data(), 0, output.data(), &state);
    ASSERT_EQ(output, Decoder(400 * frame.size()).decode(frame));
  }
}

TEST(Instance, ThreadsShareNothing) {
  const Samples input = make_signal(SIGNALS[0], 100);
  const auto alone = encode_all(32000, input);
  std::vector<Bytes> together[2];
  std::thread first([&] { together[0] = encode_all(32000, input); });
  std::thread second([&] { together[1] = encode_all(32000, input); });
  first.join();
  second.join();
  EXPECT_TRUE(together[0] == alone && together[1] == alone);
}

}  // namespace
