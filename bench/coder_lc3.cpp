#include <lc3.h>

#include <cstdio>
#include <cstdlib>

#include "coder.h"

struct Coder {
  lc3_encoder_t encoder;
  lc3_decoder_t decoder;
  int frame_bytes;
  std::int16_t decoded[480];
};

const int CODER_FRAME_SAMPLES = 480;  // 10 ms, the longest frame that LC3 has

Coder* coder_open(int bitrate, int) {
  constexpr int FRAME_MICROSECONDS = 10000;
  auto* const coder =
      new Coder{lc3_setup_encoder(FRAME_MICROSECONDS, 48000, 0,
                                  std::malloc(lc3_encoder_size(FRAME_MICROSECONDS, 48000))),
                lc3_setup_decoder(FRAME_MICROSECONDS, 48000, 0,
                                  std::malloc(lc3_decoder_size(FRAME_MICROSECONDS, 48000))),
                lc3_frame_bytes(FRAME_MICROSECONDS, bitrate),
                {}};
  if (coder->encoder == nullptr || coder->decoder == nullptr || coder->frame_bytes <= 0) {
    std::fprintf(stderr, "liblc3 refuses %d bit/s\n", bitrate);
    std::exit(1);
  }
  return coder;
}

void coder_encode(Coder* coder, const std::int16_t* samples, const float*, Packet* packet) {
  const int error =
      lc3_encode(coder->encoder, LC3_PCM_FORMAT_S16, samples, 1, coder->frame_bytes, packet->bytes);
  packet->size = error == 0 ? coder->frame_bytes : 0;
}

int coder_decode(Coder* coder, const Packet* packet) {
  const int error = lc3_decode(coder->decoder, packet->bytes, packet->size, LC3_PCM_FORMAT_S16,
                               coder->decoded, 1);
  return error == 0 ? 480 : 0;
}
