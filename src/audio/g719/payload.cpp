#include "payload.h"

namespace g719 {

static_assert(toc_of_bitrate(32000) == 0x20 && toc_of_bitrate(48000) == 0x30 &&
              toc_of_bitrate(64000) == 0x40);
static_assert(frame_bytes_of_length_code(8) == 80 && frame_bytes_of_length_code(22) == 220 &&
              frame_bytes_of_length_code(23) == 240 && frame_bytes_of_length_code(27) == 320);

PayloadLayout parse_payload(const std::uint8_t* bytes, std::size_t size) {
  const std::int32_t frame_bytes = frame_bytes_of_length_code(length_code_of_toc(bytes[0]));
  PayloadLayout layout = {};
  layout.frame_bytes = static_cast<std::uint32_t>(frame_bytes);
  layout.bitrate = frame_bytes * 400;
  layout.frames_promised = bytes[1];
  // The length code names a frame size, so not 0. NOLINTNEXTLINE(clang-analyzer-core.DivideZero)
  const std::size_t frames_held = (size - PAYLOAD_HEADER_BYTES) / layout.frame_bytes;
  layout.frames_complete =
      frames_held < layout.frames_promised ? static_cast<std::uint32_t>(frames_held) : bytes[1];
  return layout;
}

}  // namespace g719
