#include <cstdlib>
#include <cstring>

#include "coder.h"
#include "g719.h"

struct Coder {
  g719_encoder* encoder;
  g719_decoder* decoder;
  std::int16_t decoded[960];
};

const int CODER_FRAME_SAMPLES = 960;

Coder* coder_open(int bitrate, int) {
  auto* const coder = new Coder{g719_encoder_create(bitrate), g719_decoder_create(bitrate), {}};
  if (coder->encoder == nullptr || coder->decoder == nullptr) std::exit(1);
  return coder;
}

void coder_encode(Coder* coder, const std::int16_t* samples, const float*, Packet* packet) {
  g719_encoder_encode(coder->encoder, samples, packet->bytes);
  packet->size = g719_encoder_frame_bytes(coder->encoder);
}

int coder_decode(Coder* coder, const Packet* packet) {
  g719_decoder_decode(coder->decoder, packet->bytes, coder->decoded, 0);
  return 960;
}
