// Codec instances for tests: owned, and with vectors for arrays.
#pragma once

#include <memory>

#include "g719.h"
#include "signals.h"

namespace codec_test {

struct Release {
  void operator()(g719_encoder* encoder) const { g719_encoder_destroy(encoder); }
  void operator()(g719_decoder* decoder) const { g719_decoder_destroy(decoder); }
};

inline std::vector<Bytes> encode_all(int bitrate, const Samples& input) {
  const std::unique_ptr<g719_encoder, Release> encoder(g719_encoder_create(bitrate));
  std::vector<Bytes> frames;
  for (std::size_t at = 0; at < input.size(); at += FRAME) {
    frames.emplace_back(g719_encoder_frame_bytes(encoder.get()));
    g719_encoder_encode(encoder.get(), input.data() + at, frames.back().data());
  }
  return frames;
}

class Decoder {
 public:
  explicit Decoder(int bitrate) : decoder_(g719_decoder_create(bitrate)) {}
  Samples decode(const Bytes& frame, bool lost = false) {
    Samples samples(g719_decoder_frame_samples(decoder_.get()));
    g719_decoder_decode(decoder_.get(), frame.data(), samples.data(), lost);
    return samples;
  }

 private:
  std::unique_ptr<g719_decoder, Release> decoder_;
};

}  // namespace codec_test
