// The fields of any spectrum are read as they were written. The first bytes choose the frame size
// and the flags, the next ones how loud every eight coefficients are.
#include <cstring>

#include "frame/spectrum_encoder.h"
#include "input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input = {data, size};
  const int bits = 8 * (80 + input.byte() % 241), flags = input.byte();
  const auto quiet = input.take<std::uint8_t>(G719_FRAME_SAMPLES / 8);
  const auto coefs = input.take<std::int16_t>(G719_FRAME_SAMPLES);
  g719::Word32 spectrum[G719_FRAME_SAMPLES];
  for (int k = 0; k < G719_FRAME_SAMPLES; ++k) spectrum[k] = coefs[k] * 512 >> quiet[k / 8] % 25;
  g719::FrameFields fields = {}, read = {};
  fields.transient = flags % 2 != 0;
  std::vector<g719::Word16> norm_coefs(g719::NUM_CODED_COEFS);
  std::vector<std::uint8_t> frame(bits / 8);
  g719::encode_spectrum(spectrum, bits, &fields, norm_coefs.data());
  fields.noise_level_index = fields.transient ? 0 : flags / 2 % 4;
  const int end = g719::write_frame_fields(&fields, bits, frame.data());
  assert(g719::read_frame_fields(frame.data(), bits, &read) == end && end <= bits);
  assert(std::memcmp(&read, &fields, sizeof read) == 0);
  return 0;
}
