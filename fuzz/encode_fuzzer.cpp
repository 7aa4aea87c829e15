// Any samples encode, to frames that end in their padding and decode. The first two bytes of the
// input choose the bitrate, S16LE samples follow.
#include <cstddef>
#include <cstdlib>
#include <memory>

#include "g719.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t frame_bytes = 80 + (data[0] | data[1] << 8) % 241;
  const auto bitrate = static_cast<int>(400 * frame_bytes);
  const std::unique_ptr<g719_encoder, void (*)(g719_encoder*)> encoder(g719_encoder_create(bitrate),
                                                                       g719_encoder_destroy);
  const std::unique_ptr<g719_decoder, void (*)(g719_decoder*)> decoder(g719_decoder_create(bitrate),
                                                                       g719_decoder_destroy);
  constexpr std::size_t PCM_BYTES = 2 * G719_FRAME_SAMPLES;
  data += 2;
  size -= 2;
  for (; size > 0; size -= size < PCM_BYTES ? size : PCM_BYTES, data += PCM_BYTES) {
    // Buffers of their own, so that a step outside is seen; the last frame is filled with silence.
    const auto samples = std::make_unique<std::int16_t[]>(G719_FRAME_SAMPLES);
    const auto frame = std::make_unique<std::uint8_t[]>(frame_bytes);
    for (std::size_t i = 0; i < G719_FRAME_SAMPLES && 2 * i + 1 < size; ++i) {
      samples[i] = static_cast<std::int16_t>(data[2 * i] | data[2 * i + 1] << 8);
    }
    g719_encoder_encode(encoder.get(), samples.get(), frame.get());
    g719_decoder_decode(decoder.get(), frame.get(), samples.get(), 0);
    if (size < PCM_BYTES) break;
  }
  return 0;
}
