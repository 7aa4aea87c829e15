// Any stream decodes, at the best processor level to the same samples as at the lowest. In front of
// each frame stand the two bytes of a payload's header: the first names the frame size, or where it
// names none the second one does; an even second byte marks the frame as lost.
#include "input.h"
#include "payload/toc_entry.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input = {data, size};
  g719_decoder decoder = {};
  for (int i = 0; i < MAX_FRAMES && input.size > 0; ++i) {
    const auto header = g719::read_toc_entry(input.take<std::uint8_t>(2).data());
    const int named = g719::frame_bytes_of_length_code(header.length_code);
    const int bitrate = 400 * (named != 0 ? named : 80 + header.blocks % 241);
    if (bitrate != decoder.bitrate) {
      decoder = *std::unique_ptr<g719_decoder>(g719_decoder_create(bitrate));
    }
    g719_decoder twin = decoder;
    const auto frame = input.take<std::uint8_t>(decoder.frame_bytes);
    std::vector<std::int16_t> best(G719_FRAME_SAMPLES), lowest(G719_FRAME_SAMPLES);
    g719_decoder_decode(&decoder, frame.data(), best.data(), header.blocks % 2 == 0);
    find_processor_level("baseline")
        ->decode(frame.data(), header.blocks % 2 == 0, lowest.data(), &twin.state);
    assert(best == lowest);
  }
  return 0;
}
