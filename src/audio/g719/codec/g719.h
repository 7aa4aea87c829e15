// The codec's public face: full-band audio, 48 kHz mono, in frames of 960 samples.
//
// An instance codes one stream in one direction. It is one heap block without pointers; create
// makes it, destroy releases it, and nothing in between allocates, locks or fails. Calls of one
// instance come in stream order and from one thread at a time; different instances share nothing.
//
// The output lags the input by CODEC_DELAY_SAMPLES.
#pragma once

#include <cstdint>

#include "base/word.h"

struct g719_encoder_state {
  g719::Word32 analysis_memory[480];  // folded half block that the next frame completes
  g719::Word16 transient_hangover;    // 1: the previous frame was detected as transient
  g719::Word16 filter_output_memory;  // last output of the transient detector's high-pass
  g719::Word16 filter_input_memory;   // last input of that filter
  g719::Word32 energy_memory_high;    // running energy of the detector: high * 2^31 + low
  g719::Word32 energy_memory_low;     // 0 to 2^31 - 1
  g719::Word16 frame_bits;
  g719::Word16 spectral_budget_stationary;  // bits for the spectral fields of a stationary frame
  g719::Word16 spectral_budget_transient;   // and of a transient one, which has no noise level
};

struct g719_decoder_state {
  g719::Word32 synthesis_memory[960];  // windowed half block that the next frame is added to
  g719::Word16 frame_bits;
  g719::Word16 spectral_budget_stationary;
  g719::Word16 spectral_budget_transient;
  g719::Word32 previous_spectrum[960];   // last received spectrum, halved by every erased frame
  g719::Word16 previous_transient_flag;  // transient flag that belongs to it
  g719::Word16 previous_spectrum_shift;  // and its block shift
};

struct g719_encoder {
  std::int32_t bitrate;                          // bit/s
  std::int32_t frame_bits;                       // bitrate / 50
  std::int32_t frame_bytes;                      // frame_bits / 8
  std::int32_t frame_samples;                    // FRAME_SAMPLES
  g719::Word16 bitstream[g719::MAX_FRAME_BITS];  // soft bits, scratch of one call
  g719_encoder_state state;
};

struct g719_decoder {
  std::int32_t bitrate;
  std::int32_t frame_bits;
  std::int32_t frame_bytes;
  std::int32_t frame_samples;
  g719::Word16 bitstream[g719::MAX_FRAME_BITS];
  g719_decoder_state state;
};

// A new instance with cleared memory, owned by the caller, or null: when `bitrate` is not a
// multiple of 400 from 32000 to 128000 bit/s, and when memory cannot be had.
g719_encoder* g719_encoder_create(std::int32_t bitrate);
g719_decoder* g719_decoder_create(std::int32_t bitrate);

// Encodes 960 samples (16-bit PCM, host order) into `frame_bytes` bytes, most significant bit
// first. Every input gives a valid frame.
void g719_encoder_encode(g719_encoder* encoder, const std::int16_t* samples, std::uint8_t* bytes);

// Decodes `frame_bytes` bytes into 960 samples. With a nonzero `erasure_flag` the frame counts as
// lost: its bytes must be readable but do not matter, and the previous spectrum is repeated at
// falling level. Any bytes decode to some signal; bits that a damaged frame asks for past its end
// read as 0.
void g719_decoder_decode(g719_decoder* decoder, const std::uint8_t* bytes, std::int16_t* samples,
                         std::int32_t erasure_flag);

std::int32_t g719_encoder_frame_samples(const g719_encoder* encoder);
std::int32_t g719_encoder_frame_bytes(const g719_encoder* encoder);
std::int32_t g719_decoder_frame_samples(const g719_decoder* decoder);
std::int32_t g719_decoder_frame_bytes(const g719_decoder* decoder);

// Release the instance. Null is allowed and does nothing.
void g719_encoder_destroy(g719_encoder* encoder);
void g719_decoder_destroy(g719_decoder* decoder);
