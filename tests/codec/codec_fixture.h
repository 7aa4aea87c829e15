// Codec instances for tests: owned, and with vectors for arrays.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "g719.h"

namespace codec_test {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::int16_t>;

inline constexpr std::size_t FRAME = g719::FRAME_SAMPLES;

class Encoder {
 public:
  explicit Encoder(int bitrate) : encoder_(g719_encoder_create(bitrate), g719_encoder_destroy) {}
  std::size_t frame_bytes() const {
    return static_cast<std::size_t>(g719_encoder_frame_bytes(encoder_.get()));
  }
  Bytes encode(const std::int16_t* samples) {
    Bytes bytes(frame_bytes());
    g719_encoder_encode(encoder_.get(), samples, bytes.data());
    return bytes;
  }
  g719_encoder* get() { return encoder_.get(); }

 private:
  std::unique_ptr<g719_encoder, void (*)(g719_encoder*)> encoder_;
};

class Decoder {
 public:
  explicit Decoder(int bitrate) : decoder_(g719_decoder_create(bitrate), g719_decoder_destroy) {}
  std::size_t frame_bytes() const {
    return static_cast<std::size_t>(g719_decoder_frame_bytes(decoder_.get()));
  }
  Samples decode(const std::uint8_t* bytes, bool lost = false) {
    Samples samples(FRAME);
    g719_decoder_decode(decoder_.get(), bytes, samples.data(), lost);
    return samples;
  }
  g719_decoder* get() { return decoder_.get(); }

 private:
  std::unique_ptr<g719_decoder, void (*)(g719_decoder*)> decoder_;
};

}  // namespace codec_test
