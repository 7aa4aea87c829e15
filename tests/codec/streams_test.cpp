// Whole streams: recorded ones encode to the same bytes and decode to the same samples, generated
// ones have the digests that they had.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "codec_fixture.h"
#include "recorded.h"

namespace {

namespace fs = std::filesystem;
using namespace codec_test;

constexpr int HEADER_BYTES = 2;  // in front of each recorded frame

std::string contents(const std::string& name) {
  std::ifstream file(fs::path(VECTORS_DIR) / name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}

Samples recorded_samples(const std::string& name) {
  const std::string bytes = contents(name);
  Samples samples(bytes.size() / 2);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = (bytes[2 * i] & 0xFF) | (bytes[2 * i + 1] & 0xFF) << 8;
  }
  return samples;
}

// The payloads of a stream without their headers.
std::vector<Bytes> recorded_frames(const std::string& name, int bitrate) {
  const std::string bytes = contents(name);
  std::vector<Bytes> frames;
  for (auto at = bytes.begin(); at != bytes.end(); at += bitrate / 400) {
    at += HEADER_BYTES;
    frames.emplace_back(at, at + bitrate / 400);
  }
  return frames;
}

std::set<int> recorded_losses(const std::string& name) {
  std::ifstream list(fs::path(VECTORS_DIR) / name);
  return {std::istream_iterator<int>(list), {}};
}

void expect_samples(const std::vector<Bytes>& frames, const std::set<int>& lost, int bitrate,
                    const std::string& recorded) {
  const Samples expected = recorded_samples(recorded);
  Decoder decoder(bitrate);
  ASSERT_EQ(frames.size() * FRAME, expected.size()) << recorded;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const Samples samples = decoder.decode(frames[i], lost.contains(i));
    ASSERT_EQ(samples, Samples(expected.begin() + i * FRAME, expected.begin() + (i + 1) * FRAME))
        << recorded << ", frame " << i;
  }
}

// "signal.bitrate.g719" with "signal.pcm" and "signal.bitrate.decoded.pcm"; where there is a list
// of lost frames, "signal.bitrate.lost.pcm"; "signal.bitrate.damaged.g719" is decoded alone.
TEST(Streams, Recorded) {
  int streams = 0;
  for (const auto& entry : fs::directory_iterator(VECTORS_DIR)) {
    if (entry.path().extension() != ".g719") continue;
    ++streams;
    const std::string stream = entry.path().stem();
    const std::string signal = stream.substr(0, stream.find('.'));
    const int bitrate = std::stoi(stream.substr(signal.size() + 1));
    const auto frames = recorded_frames(stream + ".g719", bitrate);
    expect_samples(frames, {}, bitrate, stream + ".decoded.pcm");
    if (fs::exists(entry.path().parent_path() / (stream + ".lost.txt"))) {
      expect_samples(frames, recorded_losses(stream + ".lost.txt"), bitrate, stream + ".lost.pcm");
    }
    if (stream.ends_with(".damaged")) continue;
    const auto encoded = encode_all(bitrate, recorded_samples(signal + ".pcm"));
    for (std::size_t i = 0; i < frames.size(); ++i) {
      ASSERT_EQ(encoded[i], frames[i]) << stream << ", frame " << i;
    }
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
