// The public calls: what they refuse, and what they share.

#include <gtest/gtest.h>

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
