// Every recorded stream encodes to the same bytes and decodes to the same samples.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "codec_fixture.h"

namespace {

namespace fs = std::filesystem;
using codec_test::Bytes;
using codec_test::Decoder;
using codec_test::Encoder;
using codec_test::FRAME;
using codec_test::Samples;

constexpr std::size_t HEADER_BYTES = 2;  // in front of each recorded frame

const fs::path VECTORS = TEST_VECTORS_DIR;

template <typename Value>
std::vector<Value> read_all(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::vector<Value> values(bytes.size() / sizeof(Value));
  std::copy_n(bytes.data(), values.size() * sizeof(Value), reinterpret_cast<char*>(values.data()));
  return values;
}

// Names the first frame and the first value in it that differ.
template <typename Value>
void expect_equal_frames(const std::vector<Value>& actual, const std::vector<Value>& expected,
                         std::size_t frame_size, const std::string& stream) {
  ASSERT_EQ(actual.size(), expected.size()) << stream;
  const auto [a, e] = std::mismatch(actual.begin(), actual.end(), expected.begin());
  if (a == actual.end()) return;
  const auto at = static_cast<std::size_t>(a - actual.begin());
  ADD_FAILURE() << stream << ": frame " << at / frame_size << ", value " << at % frame_size
                << " first differs: " << +*a << ", recorded " << +*e;
}

// "signal.bitrate", the file's name up to its kind.
std::string stream_name(const fs::path& path) {
  const std::string name = path.filename();
  return name.substr(0, name.find('.', name.find('.') + 1));
}

int bitrate_of(const std::string& stream) { return std::stoi(stream.substr(stream.find('.') + 1)); }

std::vector<fs::path> recorded(const std::string& ending) {
  std::vector<fs::path> paths;
  for (const auto& entry : fs::directory_iterator(VECTORS)) {
    if (entry.path().filename().string().ends_with(ending)) paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

// The stream's frames without their payload headers.
Bytes frames_of(const fs::path& payload_file, std::size_t frame_bytes) {
  const Bytes payloads = read_all<std::uint8_t>(payload_file);
  Bytes frames;
  for (std::size_t at = 0; at < payloads.size(); at += HEADER_BYTES + frame_bytes) {
    const auto frame = payloads.begin() + static_cast<std::ptrdiff_t>(at + HEADER_BYTES);
    frames.insert(frames.end(), frame, frame + static_cast<std::ptrdiff_t>(frame_bytes));
  }
  return frames;
}

Samples decode_stream(int bitrate, const Bytes& frames, const std::set<std::size_t>& lost = {}) {
  Decoder decoder(bitrate);
  Samples samples;
  for (std::size_t frame = 0; frame * decoder.frame_bytes() < frames.size(); ++frame) {
    const auto pcm =
        decoder.decode(frames.data() + frame * decoder.frame_bytes(), lost.contains(frame));
    samples.insert(samples.end(), pcm.begin(), pcm.end());
  }
  return samples;
}

TEST(Vectors, EncodeToTheRecordedBytes) {
  int streams = 0;
  for (const fs::path& path : recorded("000.g719")) {
    const std::string stream = stream_name(path);
    Encoder encoder(bitrate_of(stream));
    const auto input =
        read_all<std::int16_t>(VECTORS / (stream.substr(0, stream.find('.')) + ".pcm"));
    Bytes frames;
    for (std::size_t at = 0; at < input.size(); at += FRAME) {
      const Bytes frame = encoder.encode(input.data() + at);
      frames.insert(frames.end(), frame.begin(), frame.end());
    }
    expect_equal_frames(frames, frames_of(path, encoder.frame_bytes()), encoder.frame_bytes(),
                        stream);
    ++streams;
  }
  EXPECT_EQ(streams, 22);
}

TEST(Vectors, DecodeToTheRecordedSamples) {
  int streams = 0;
  for (const fs::path& path : recorded(".g719")) {  // damaged ones too
    const std::string stream = stream_name(path);
    const int bitrate = bitrate_of(stream);
    const std::string file = path.stem();
    expect_equal_frames(
        decode_stream(bitrate, frames_of(path, static_cast<std::size_t>(bitrate) / 400)),
        read_all<std::int16_t>(VECTORS / (file + ".decoded.pcm")), FRAME, file);
    ++streams;
  }
  EXPECT_EQ(streams, 25);
}

TEST(Vectors, ConcealTheListedLostFrames) {
  int streams = 0;
  for (const fs::path& path : recorded(".lost.txt")) {
    const std::string stream = stream_name(path);
    const int bitrate = bitrate_of(stream);
    std::ifstream list(path);
    const std::set<std::size_t> lost{std::istream_iterator<std::size_t>(list), {}};
    ASSERT_FALSE(lost.empty()) << path;
    const Bytes frames =
        frames_of(VECTORS / (stream + ".g719"), static_cast<std::size_t>(bitrate) / 400);
    expect_equal_frames(decode_stream(bitrate, frames, lost),
                        read_all<std::int16_t>(VECTORS / (stream + ".lost.pcm")), FRAME,
                        stream + " with lost frames");
    ++streams;
  }
  EXPECT_EQ(streams, 3);
}

}  // namespace
