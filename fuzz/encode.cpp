// Any samples encode, at the best processor level to the same frames as at the lowest. The first
// byte chooses the bitrate.
#include "input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input = {data, size};
  const int bytes = 80 + input.byte() % 241;
  const std::unique_ptr<g719_encoder> encoder(g719_encoder_create(400 * bytes));
  for (int i = 0; i < MAX_FRAMES && input.size > 0; ++i) {
    g719_encoder twin = *encoder;
    const auto samples = input.take<std::int16_t>(G719_FRAME_SAMPLES);
    std::vector<std::uint8_t> best(bytes), lowest(bytes);
    g719_encoder_encode(encoder.get(), samples.data(), best.data());
    find_processor_level("baseline")->encode(samples.data(), lowest.data(), &twin.state);
    assert(best == lowest);
  }
  return 0;
}
