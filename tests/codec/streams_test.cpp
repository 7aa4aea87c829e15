// The public calls: recorded streams encode to the same bytes and decode to the same samples,
// generated ones have the digests that they had; what is refused.

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <set>

#include "g719.h"
#include "material.h"

static bool memory_is_short = false;

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return memory_is_short ? nullptr : ::operator new(size);
}

namespace {

using namespace codec_test;

std::vector<Bytes> encode(int bitrate, const std::vector<Samples>& input) {
  g719_encoder* encoder = g719_encoder_create(bitrate);
  std::vector<Bytes> frames;
  for (const Samples& samples : input) {
    Bytes& frame = frames.emplace_back(g719_encoder_frame_bytes(encoder));
    g719_encoder_encode(encoder, samples.data(), frame.data());
  }
  g719_encoder_destroy(encoder);
  return frames;
}

std::vector<Samples> decode(int bitrate, const std::vector<Bytes>& frames, std::set<int> lost) {
  g719_decoder* decoder = g719_decoder_create(bitrate);
  std::vector<Samples> output;
  for (const Bytes& frame : frames) {
    Samples& samples = output.emplace_back(g719_decoder_frame_samples(decoder));
    g719_decoder_decode(decoder, frame.data(), samples.data(), lost.contains(output.size() - 1));
  }
  g719_decoder_destroy(decoder);
  return output;
}

// The frames of a file, `length` values each, without the headers in front of them.
template <typename Value>
std::vector<std::vector<Value>> recorded(const std::string& name, int length, int header = 0) {
  std::ifstream file(VECTORS_DIR "/" + name, std::ios::binary);
  std::vector<std::vector<Value>> frames;
  while (file.ignore(header).peek() != EOF) {
    for (Value& value : frames.emplace_back(length)) {
      for (std::size_t i = 0; i < sizeof value; ++i) value |= file.get() << (8 * i);
    }
  }
  return frames;
}

void expect_same(const auto& frames, const auto& expected, const std::string& name) {
  ASSERT_EQ(frames.size(), expected.size()) << name;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    ASSERT_EQ(frames[i], expected[i]) << name << ", frame " << i;
  }
}

// "signal.bitrate.g719" with "signal.pcm" and "signal.bitrate.decoded.pcm"; where there is a list
// of lost frames, "signal.bitrate.lost.pcm"; "signal.bitrate.damaged.g719" is decoded alone.
TEST(Streams, Recorded) {
  int streams = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VECTORS_DIR)) {
    if (entry.path().extension() != ".g719") continue;
    ++streams;
    const std::string stream = entry.path().stem(), signal = stream.substr(0, stream.find('.'));
    const int bitrate = std::stoi(stream.substr(signal.size() + 1));
    const auto frames = recorded<std::uint8_t>(stream + ".g719", bitrate / 400, 2);
    const auto expect_decoded = [&](const std::set<int>& lost, const std::string& name) {
      expect_same(decode(bitrate, frames, lost), recorded<std::int16_t>(name, FRAME), name);
    };
    expect_decoded({}, stream + ".decoded.pcm");
    std::ifstream lost(VECTORS_DIR "/" + stream + ".lost.txt");
    if (lost) expect_decoded({std::istream_iterator<int>(lost), {}}, stream + ".lost.pcm");
    if (stream.ends_with(".damaged")) continue;
    expect_same(encode(bitrate, recorded<std::int16_t>(signal + ".pcm", FRAME)), frames, stream);
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
void expect_digests(const auto& frames, const std::string& name) {
  Digest digest;
  std::string entries;
  for (const auto& frame : frames) {
    digest.add_all(frame);
    entries.append(entries.empty() ? "" : " ");
    entries.append(digest.text(&frame == &frames.back() ? 16 : 2));
  }
  expect_recorded("streams", name, entries);
}

// Of five frames one arrives damaged, and one or two do not arrive.
TEST(Streams, Generated) {
  for (int bitrate = 32000; bitrate <= 128000; bitrate += 400) {
    const Signal& signal = SIGNALS[bitrate / 400 % std::size(SIGNALS)];
    const std::string name = std::to_string(bitrate) + "." + signal.name;
    auto frames = encode(bitrate, make_signal(signal, 20, bitrate));
    expect_digests(frames, name + ".encoded");
    Random random(bitrate);
    for (int kind = 0; kind < 4; ++kind) damage(&frames[5 * kind + 3], kind, random);
    expect_digests(decode(bitrate, frames, {4, 9, 10, 14, 19}), name + ".decoded");
  }
}

// 32000 bit/s for want of memory alone.
TEST(Instances, AreRefusedForOtherBitratesAndWithoutMemory) {
  for (const int bitrate : {32000, 0, -32000, 31600, 31999, 32001, 32200, 128001, 128400,
                            65536 * 400 + 32000, INT_MAX, INT_MIN}) {
    memory_is_short = bitrate == 32000;
    EXPECT_EQ(g719_encoder_create(bitrate), nullptr) << bitrate;
    EXPECT_EQ(g719_decoder_create(bitrate), nullptr) << bitrate;
  }
  g719_encoder_destroy(nullptr);
  g719_decoder_destroy(nullptr);
}

}  // namespace
