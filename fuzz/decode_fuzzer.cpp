// Any stream decodes. The input is a payload stream: frames with two bytes in front of each. The
// first byte of all names the frame size as a payload's does, or where it names none, the second
// one does; an even second byte in front of a frame marks it as lost.
#include <cstddef>
#include <memory>

#include "g719.h"

namespace {

std::size_t frame_bytes_of(std::uint8_t first, std::uint8_t second) {
  const std::size_t code = first >> 2 & 31;
  if (code < 8 || code > 27) return 80 + second % 241;
  return code <= 22 ? 10 * code : 20 * code - 220;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t frame_bytes = frame_bytes_of(data[0], data[1]);
  const std::unique_ptr<g719_decoder, void (*)(g719_decoder*)> decoder(
      g719_decoder_create(static_cast<int>(400 * frame_bytes)), g719_decoder_destroy);
  for (; size >= 2 + frame_bytes; size -= 2 + frame_bytes, data += 2 + frame_bytes) {
    // Buffers of their own, so that a step outside is seen.
    const auto frame = std::make_unique<std::uint8_t[]>(frame_bytes);
    const auto samples = std::make_unique<std::int16_t[]>(G719_FRAME_SAMPLES);
    for (std::size_t i = 0; i < frame_bytes; ++i) frame[i] = data[2 + i];
    g719_decoder_decode(decoder.get(), frame.get(), samples.get(), data[1] % 2 == 0);
  }
  return 0;
}
