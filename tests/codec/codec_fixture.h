// Codec instances for tests: owned, and with vectors for arrays.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "frame/soft_bits.h"
#include "g719.h"
#include "signals.h"

namespace codec_test {

using Bytes = std::vector<std::uint8_t>;

// Soft bits laid out for reading, with as many zeros behind them.
inline std::vector<g719::BitWindow> opened(const g719::Word16* soft_bits, std::size_t count) {
  std::vector<g719::BitWindow> windows(2 * count + 8);
  g719::open_soft_bits(soft_bits, static_cast<int>(count), windows.data(),
                       static_cast<int>(windows.size()));
  return windows;
}
inline std::vector<g719::BitWindow> opened(const std::vector<g719::Word16>& soft_bits) {
  return opened(soft_bits.data(), soft_bits.size());
}

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
