// Decodes the frame-blocks of a stream with one channel or two to interleaved samples.
#pragma once

#include "g719.h"
#include "payload/payload.h"

namespace g719 {

inline constexpr int MAX_SOUND_CHANNELS = 2;

struct BlockDecoder {
  int channels;                               // 0: closed
  g719_decoder* decoder[MAX_SOUND_CHANNELS];  // owned
};

// Opens a closed decoder with cleared memory; false where memory cannot be had.
bool open_decoder(int channels, BlockDecoder* blocks);
void close_decoder(BlockDecoder* blocks);

// Forgets all that was decoded.
void clear_memory(BlockDecoder* blocks);

// Each of these leaves G719_FRAME_SAMPLES samples of each channel in `samples`: the sound of the
// block before, which the first half of this one completes.

// Decodes block `i` of a payload at `bytes`, which may have another bitrate than the one before.
void decode_block(const std::uint8_t* bytes, const Payload& payload, int i, BlockDecoder* blocks,
                  std::int16_t* samples);

// In the place of a lost block: the last spectrum is repeated at falling level.
void conceal_block(BlockDecoder* blocks, std::int16_t* samples);

// When no block follows: silence does.
void finish_sound(BlockDecoder* blocks, std::int16_t* samples);

}  // namespace g719
