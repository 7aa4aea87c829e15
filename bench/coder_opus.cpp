#include <opus.h>

#include <cstdio>
#include <cstdlib>

#include "coder.h"

struct Coder {
  OpusEncoder* encoder;
  OpusDecoder* decoder;
  opus_int16 decoded[960];
};

const int CODER_FRAME_SAMPLES = 960;

// Constant bitrate, since a G.719 stream has no other.
Coder* coder_open(int bitrate, int complexity) {
  int error_encoder = 0;
  int error_decoder = 0;
  auto* const coder =
      new Coder{opus_encoder_create(48000, 1, OPUS_APPLICATION_AUDIO, &error_encoder),
                opus_decoder_create(48000, 1, &error_decoder),
                {}};
  if (error_encoder != OPUS_OK || error_decoder != OPUS_OK ||
      opus_encoder_ctl(coder->encoder, OPUS_SET_BITRATE(bitrate)) != OPUS_OK ||
      opus_encoder_ctl(coder->encoder, OPUS_SET_VBR(0)) != OPUS_OK ||
      opus_encoder_ctl(coder->encoder, OPUS_SET_COMPLEXITY(complexity)) != OPUS_OK) {
    std::fprintf(stderr, "libopus refuses %d bit/s, complexity %d\n", bitrate, complexity);
    std::exit(1);
  }
  return coder;
}

void coder_encode(Coder* coder, const std::int16_t* samples, const float*, Packet* packet) {
  packet->size = opus_encode(coder->encoder, samples, 960, packet->bytes, PACKET_CAPACITY);
}

int coder_decode(Coder* coder, const Packet* packet) {
  return opus_decode(coder->decoder, packet->bytes, packet->size, coder->decoded, 960, 0);
}
