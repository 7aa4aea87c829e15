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

std::vector<Samples> decode_all(int bitrate, const std::vector<Bytes>& frames,
                                const std::set<int>& lost) {
  Decoder decoder(bitrate);
  std::vector<Samples> samples;
  for (const Bytes& frame : frames) {
    samples.push_back(decoder.decode(frame, lost.contains(samples.size())));
  }
  return samples;
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

// Every frame leaves two digits of the digest so far, the last one all of it. Of five frames one
// arrives damaged, and one or two do not arrive.
TEST(Streams, Generated) {
  constexpr int FRAMES = 20;
  for (int bitrate = 32000; bitrate <= 128000; bitrate += 400) {
    const Signal& signal = SIGNALS[bitrate / 400 % std::size(SIGNALS)];
    auto frames = encode_all(bitrate, make_signal(signal, FRAMES, bitrate));
    Random random(bitrate);
    Decoder decoder(bitrate);
    Digest encoded, decoded;
    std::vector<std::string> encoded_entries, decoded_entries;
    for (int i = 0; i < FRAMES; ++i) {
      encoded.add_all(frames[i]);
      if (i % 5 == 3) damage(&frames[i], i / 5, random);
      decoded.add_all(decoder.decode(frames[i], i % 5 == 4 || i == 10));
      encoded_entries.push_back(encoded.text(i == FRAMES - 1 ? 16 : 2));
      decoded_entries.push_back(decoded.text(i == FRAMES - 1 ? 16 : 2));
    }
    const std::string name = std::to_string(bitrate) + "." + signal.name;
    expect_recorded("streams", name + ".encoded", encoded_entries);
    expect_recorded("streams", name + ".decoded", decoded_entries);
  }
}

}  // namespace
