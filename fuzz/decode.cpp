// Any stream decodes, at the best processor level to the same samples as at the lowest. In front of
// each frame stand the two bytes of a payload's header: the first names the frame size, or where it
// names none the second one does; an even second byte marks the frame as lost.
#include "input.h"
#include "payload.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input = {data, size};
  g719_decoder decoder = {};
  for (int i = 0; i < MAX_FRAMES && input.size > 0; ++i) {
    const std::uint8_t toc = input.byte(), count = input.byte();
    const int named = g719::frame_bytes_of_length_code(g719::length_code_of_toc(toc));
    const int bitrate = 400 * (named != 0 ? named : 80 + count % 241);
    if (bitrate != decoder.bitrate) {
      decoder = *std::unique_ptr<g719_decoder>(g719_decoder_create(bitrate));
    }
    g719_decoder twin = decoder;
    const auto frame = input.take<std::uint8_t>(decoder.frame_bytes);
    std::vector<std::int16_t> best(G719_FRAME_SAMPLES), lowest(G719_FRAME_SAMPLES);
    g719_decoder_decode(&decoder, frame.data(), best.data(), count % 2 == 0);
    find_processor_level("baseline")
        ->decode(frame.data(), count % 2 == 0, lowest.data(), &twin.state);
    assert(best == lowest);
  }
  return 0;
}
