#include "frame/packed_frame.h"

#include "base/soft_bits.h"
#include "frame/frame_decoder.h"
#include "frame/frame_encoder.h"

namespace g719 {

void encode_packed_frame(g719_encoder* encoder, const Word16* samples, std::uint8_t* bytes) {
  encode_frame(samples, encoder->bitstream, &encoder->state);
  for (int i = 0; i < encoder->frame_bytes; ++i) {
    bytes[i] = static_cast<std::uint8_t>(pack_soft_block(encoder->bitstream + SOFT_BLOCK * i));
  }
}

void decode_packed_frame(g719_decoder* decoder, const std::uint8_t* bytes, Word16* samples,
                         bool erased) {
  for (int i = 0; i < decoder->frame_bytes; ++i) {
    write_soft_block(bytes[i], SOFT_BLOCK, decoder->bitstream + SOFT_BLOCK * i);
  }
  decode_frame(decoder->bitstream, erased, samples, &decoder->state);
}

}  // namespace g719
