#include "payload.h"

#include <algorithm>

namespace g719 {

static_assert(toc_of_bitrate(32000) == 0x20 && toc_of_bitrate(48000) == 0x30 &&
              toc_of_bitrate(64000) == 0x40);
static_assert(frame_bytes_of_length_code(8) == 80 && frame_bytes_of_length_code(22) == 220 &&
              frame_bytes_of_length_code(23) == 240 && frame_bytes_of_length_code(27) == 320);

PayloadLayout parse_payload(const std::uint8_t* bytes, std::size_t size) {
  const std::int32_t frame_bytes = frame_bytes_of_length_code(length_code_of_toc(bytes[0]));
  if (frame_bytes == 0) return {};

  PayloadLayout layout = {};
  layout.frame_bytes = static_cast<std::uint32_t>(frame_bytes);
  layout.bitrate = frame_bytes * 400;
  layout.frames_promised = bytes[1];
  const std::size_t bytes_promised = layout.frames_promised * layout.frame_bytes;
  const std::size_t bytes_held = size - PAYLOAD_HEADER_BYTES;
  const std::size_t bytes_of_frames = std::min(bytes_held, bytes_promised);
  layout.frames_complete = static_cast<std::uint32_t>(bytes_of_frames / layout.frame_bytes);
  layout.bytes_behind = bytes_held - bytes_of_frames;
  return layout;
}

}  // namespace g719
