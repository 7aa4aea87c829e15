#include "block_decoder.h"

#include <algorithm>
#include <iterator>

namespace g719 {

namespace {

// Puts the samples of two channels side by side.
void interleave(const std::int16_t* left, const std::int16_t* right, std::int16_t* samples) {
  for (int i = 0; i < G719_FRAME_SAMPLES; ++i) {
    samples[2 * i] = left[i];
    samples[2 * i + 1] = right[i];
  }
}

// Decodes a frame of each channel; the frames stand side by side.
void decode_channels(const std::uint8_t* frames, int frame_bytes, bool is_lost,
                     BlockDecoder* blocks, std::int16_t* samples) {
  const std::int32_t erasure_flag = is_lost ? 1 : 0;
  if (blocks->channels == 1) {
    g719_decoder_decode(blocks->decoder[0], frames, samples, erasure_flag);
    return;
  }
  std::int16_t left[G719_FRAME_SAMPLES];
  std::int16_t right[G719_FRAME_SAMPLES];
  g719_decoder_decode(blocks->decoder[0], frames, left, erasure_flag);
  g719_decoder_decode(blocks->decoder[1], frames + frame_bytes, right, erasure_flag);
  interleave(left, right, samples);
}

}  // namespace

bool open_decoder(int channels, BlockDecoder* blocks) {
  for (; blocks->channels < channels; ++blocks->channels) {
    g719_decoder* decoder = g719_decoder_create(G719_MIN_BITRATE);
    if (decoder == nullptr) {
      close_decoder(blocks);
      return false;
    }
    blocks->decoder[blocks->channels] = decoder;
  }
  return true;
}

void close_decoder(BlockDecoder* blocks) {
  for (; blocks->channels > 0; --blocks->channels) {
    g719_decoder_destroy(blocks->decoder[blocks->channels - 1]);
  }
}

void clear_memory(BlockDecoder* blocks) {
  for (int channel = 0; channel < blocks->channels; ++channel) {
    g719_decoder* decoder = blocks->decoder[channel];
    decoder->state = {};
    g719_decoder_set_bitrate(decoder, decoder->bitrate);
  }
}

void decode_block(const std::uint8_t* bytes, const Payload& payload, int i, BlockDecoder* blocks,
                  std::int16_t* samples) {
  for (int channel = 0; channel < blocks->channels; ++channel) {
    g719_decoder_set_bitrate(blocks->decoder[channel], payload.bitrate);
  }
  decode_channels(bytes + frame_offset(payload, i * blocks->channels), payload.frame_bytes, false,
                  blocks, samples);
}

void conceal_block(BlockDecoder* blocks, std::int16_t* samples) {
  constexpr std::uint8_t ANY_FRAME[G719_MAX_FRAME_BYTES] = {};
  decode_channels(ANY_FRAME, 0, true, blocks, samples);
}

void finish_sound(BlockDecoder* blocks, std::int16_t* samples) {
  for (int channel = 0; channel < blocks->channels; ++channel) {
    g719_decoder_state* state = &blocks->decoder[channel]->state;
    std::fill(std::begin(state->previous_spectrum), std::end(state->previous_spectrum), 0);
  }
  conceal_block(blocks, samples);
}

}  // namespace g719
