// Decodes a payload file of which some frames did not arrive, as S16LE samples on standard output:
// with the codec's concealment, as zelg719streamdec has it, or with silence in their place, as a
// player fills the gaps that zelg719dec leaves.
//
//   lossy_decode [--gaps] PAYLOADS.g719 LOST.txt
//
// LOST.txt holds the numbers of the lost frames, from 0 on, with blanks between them.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string_view>
#include <vector>

#include "g719.h"
#include "payload/payload.h"

namespace {

struct Decoder {
  std::unique_ptr<g719_decoder, void (*)(g719_decoder*)> instance{nullptr, g719_decoder_destroy};
  std::set<int> lost;
  bool gaps = false;
  int frames = 0;  // so far
};

void write_frame(const std::int16_t* samples) {
  for (int i = 0; i < G719_FRAME_SAMPLES; ++i) {
    std::putchar(samples[i] & 0xFF);
    std::putchar((samples[i] >> 8) & 0xFF);
  }
}

void decode_frame(const std::uint8_t* frame, Decoder* decoder) {
  std::int16_t samples[G719_FRAME_SAMPLES] = {};
  const bool lost = decoder->lost.count(decoder->frames++) > 0;
  if (!lost || !decoder->gaps) {
    g719_decoder_decode(decoder->instance.get(), frame, samples, lost);
  }
  write_frame(samples);
}

// False where no payload of the stream's bitrate stands.
bool decode_stream(const std::vector<std::uint8_t>& bytes, Decoder* decoder) {
  std::size_t position = 0;
  while (position + g719::PAYLOAD_HEADER_BYTES <= bytes.size()) {
    const auto payload = g719::read_payload(&bytes[position], bytes.size() - position);
    if (decoder->instance == nullptr) decoder->instance.reset(g719_decoder_create(payload.bitrate));
    if (decoder->instance == nullptr || decoder->instance->bitrate != payload.bitrate) return false;
    for (int i = 0; i < payload.blocks_complete; ++i) {
      decode_frame(&bytes[position + g719::frame_offset(payload, i)], decoder);
    }
    position += g719::frame_offset(payload, payload.blocks_complete);
    if (payload.blocks_complete < payload.header.blocks) break;
  }
  return position == bytes.size();
}

}  // namespace

int main(int argc, char** argv) {
  Decoder decoder;
  decoder.gaps = argc == 4 && std::string_view(argv[1]) == "--gaps";
  if (argc != 3 && !decoder.gaps) {
    std::fputs("usage: lossy_decode [--gaps] PAYLOADS.g719 LOST.txt\n", stderr);
    return 2;
  }
  std::ifstream payloads(argv[argc - 2], std::ios::binary);
  std::ifstream lost(argv[argc - 1]);
  if (!payloads || !lost) {
    std::fprintf(stderr, "lossy_decode: %s cannot be read\n", argv[payloads ? argc - 1 : argc - 2]);
    return 1;
  }
  decoder.lost.insert(std::istream_iterator<int>(lost), {});
  const std::vector<std::uint8_t> bytes(std::istreambuf_iterator<char>(payloads), {});
  if (!decode_stream(bytes, &decoder)) {
    std::fprintf(stderr, "lossy_decode: %s holds more than whole payloads of one bitrate\n",
                 argv[argc - 2]);
    return 1;
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
