// Whole streams: recorded ones encode to the same bytes and decode to the same samples, generated
// ones have the digests that they had.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "support.h"

namespace {

namespace fs = std::filesystem;
using namespace codec_test;

// A recorded file as rows of `size` values of T, low byte first, each row behind `header` bytes.
template <typename T>
std::vector<std::vector<T>> recorded(const std::string& name, int size, int header = 0) {
  std::ifstream file(fs::path(VECTORS_DIR) / name, std::ios::binary);
  const Bytes bytes{std::istreambuf_iterator<char>(file), {}};
  std::vector<std::vector<T>> rows;
  for (std::size_t at = header; at < bytes.size(); at += header) {
    auto& row = rows.emplace_back();
    for (int i = 0; i < size; ++i, at += sizeof(T)) {
      row.push_back(sizeof(T) == 1 ? bytes[at] : bytes[at] | bytes[at + 1] << 8);
    }
  }
  EXPECT_FALSE(rows.empty()) << name;
  return rows;
}

void expect_frames(const auto& actual, const auto& expected, const std::string& name) {
  ASSERT_EQ(actual.size(), expected.size()) << name;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    ASSERT_EQ(actual[i], expected[i]) << name << ", frame " << i;
  }
}

// "signal.bitrate.g719" with "signal.pcm" and "signal.bitrate.decoded.pcm"; where there is a list
// of lost frames, "signal.bitrate.lost.pcm"; "signal.bitrate.damaged.g719" is decoded alone.
TEST(Streams, Recorded) {
  int streams = 0;
  for (const auto& entry : fs::directory_iterator(VECTORS_DIR)) {
    if (entry.path().extension() != ".g719") continue;
    ++streams;
    const std::string name = entry.path().stem(), signal = name.substr(0, name.find('.'));
    const int bitrate = std::stoi(name.substr(signal.size() + 1));
    const auto frames = recorded<std::uint8_t>(name + ".g719", bitrate / 400, 2);
    const auto samples = recorded<std::int16_t>(name + ".decoded.pcm", FRAME);
    expect_frames(decode_all(bitrate, frames, {}), samples, name + " decoded");
    if (std::ifstream list(fs::path(VECTORS_DIR) / (name + ".lost.txt")); list) {
      const std::set<int> lost{std::istream_iterator<int>(list), {}};
      expect_frames(decode_all(bitrate, frames, lost),
                    recorded<std::int16_t>(name + ".lost.pcm", FRAME), name + " with losses");
    }
    if (name.ends_with(".damaged")) continue;
    const auto input = recorded<std::int16_t>(signal + ".pcm", FRAME * 50);
    expect_frames(encode_all(bitrate, input[0]), frames, name + " encoded");
  }
  EXPECT_EQ(streams, 25);
}

// What else can reach a decoder: frames of random bytes, of short patterns of bits (among them the
// longest code words over and over, which ask for far more bits than there are) with or without an
// intact head, and frames with a few wrong bits.
void damage(Bytes* frame, int kind, Random& random) {
  const int bits = 8 * frame->size();
  const int period = random(1, 12), pattern = random(0, 4095), head = random(1, 40);
  for (int byte = kind == 2 ? head : 0; kind <= 2 && byte < bits / 8; ++byte) {
    (*frame)[byte] = kind == 0 ? random(0, 255) : pattern >> (8 * byte % period);
  }
  for (int flips = kind == 3 ? random(1, 8) : 0; flips > 0; --flips) {
    const int bit = random(0, bits - 1);
    (*frame)[bit / 8] ^= 1 << bit % 8;
  }
  if (kind < 3 && random(0, 2) == 0) (*frame)[0] |= 0x70;  // all bands, both Huffman codes
}

// Every frame leaves two digits of the digest so far, the last one all of it.
void expect_stream(const std::string& name, const auto& frames) {
  Digest digest;
  std::vector<std::string> entries;
  for (const auto& frame : frames) {
    digest.add_all(frame);
    entries.push_back(digest.text(&frame == &frames.back() ? 16 : 2));
  }
  expect_recorded("streams", name, entries);
}

// Of five frames one arrives damaged, and one or two do not arrive.
TEST(Streams, Generated) {
  for (int bitrate = 32000; bitrate <= 128000; bitrate += 400) {
    const Signal& signal = SIGNALS[bitrate / 400 % std::size(SIGNALS)];
    const std::string name = std::to_string(bitrate) + "." + signal.name;
    auto frames = encode_all(bitrate, make_signal(signal, 20, bitrate));
    expect_stream(name + ".encoded", frames);
    Random random(bitrate);
    for (int i = 0; i < 4; ++i) damage(&frames[5 * i + 3], i, random);
    expect_stream(name + ".decoded", decode_all(bitrate, frames, {4, 9, 10, 14, 19}));
  }
}

}  // namespace
