/* G.719: full-band audio, 48 kHz mono, in frames of 960 samples (20 ms). The codec's public face.
 *
 * An instance codes one stream in one direction. It is one heap block without pointers; create
 * makes it, destroy releases it, and nothing in between allocates, locks or fails. Calls of one
 * instance come in stream order and from one thread at a time; different instances share nothing.
 */
#pragma once

/* Plain C. NOLINTBEGIN(modernize-deprecated-headers,modernize-use-using) */
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  G719_SAMPLE_RATE = 48000,   /* Hz */
  G719_FRAME_SAMPLES = 960,   /* samples and transform coefficients a frame */
  G719_DELAY_SAMPLES = 960,   /* output sample n holds what input sample n - 960 held */
  G719_MIN_BITRATE = 32000,   /* bit/s */
  G719_MAX_BITRATE = 128000,  /* bit/s */
  G719_BITRATE_STEP = 400,    /* bit/s: one byte a frame */
  G719_MAX_FRAME_BITS = 2560, /* one frame at G719_MAX_BITRATE */
  G719_MAX_FRAME_BYTES = 320
};

struct g719_encoder_state {
  int32_t analysis_memory[480]; /* folded half block that the next frame completes */
  int16_t transient_hangover;   /* 1: the previous frame was detected as transient */
  int16_t filter_output_memory; /* last output of the transient detector's high-pass */
  int16_t filter_input_memory;  /* last input of that filter */
  int32_t energy_memory_high;   /* running energy of the detector: high * 2^31 + low */
  int32_t energy_memory_low;    /* 0 to 2^31 - 1 */
  int16_t frame_bits;
  int16_t spectral_budget_stationary; /* bits for the spectral fields of a stationary frame */
  int16_t spectral_budget_transient;  /* and of a transient one, which has no noise level */
};

struct g719_decoder_state {
  int32_t synthesis_memory[960]; /* windowed half block that the next frame is added to */
  int16_t frame_bits;
  int16_t spectral_budget_stationary;
  int16_t spectral_budget_transient;
  int32_t previous_spectrum[960];  /* last received spectrum, halved by every erased frame */
  int16_t previous_transient_flag; /* transient flag that belongs to it */
  int16_t previous_spectrum_shift; /* and its block shift */
};

typedef struct g719_encoder {
  int32_t bitrate;       /* bit/s */
  int32_t frame_bits;    /* bitrate / 50 */
  int32_t frame_bytes;   /* frame_bits / 8 */
  int32_t frame_samples; /* G719_FRAME_SAMPLES */
  struct g719_encoder_state state;
} g719_encoder;

typedef struct g719_decoder {
  int32_t bitrate;
  int32_t frame_bits;
  int32_t frame_bytes;
  int32_t frame_samples;
  struct g719_decoder_state state;
} g719_decoder;

/* A new instance with cleared memory, owned by the caller, or null: when `bitrate` is not a
 * multiple of 400 from 32000 to 128000 bit/s, and when memory cannot be had. */
g719_encoder* g719_encoder_create(int32_t bitrate);
g719_decoder* g719_decoder_create(int32_t bitrate);

/* Goes on at another bitrate. The memory stays, so the signal has no break. Returns 0, and changes
 * nothing, for a bitrate that create refuses, otherwise 1. */
int32_t g719_encoder_set_bitrate(g719_encoder* encoder, int32_t bitrate);
int32_t g719_decoder_set_bitrate(g719_decoder* decoder, int32_t bitrate);

/* Encodes 960 samples (16-bit PCM, host order) into `frame_bytes` bytes, most significant bit
 * first. Every input gives a valid frame. */
void g719_encoder_encode(g719_encoder* encoder, const int16_t* samples, uint8_t* bytes);

/* Decodes `frame_bytes` bytes into 960 samples. With a nonzero `erasure_flag` the frame counts as
 * lost: its bytes must be readable but do not matter, and the previous spectrum is repeated at
 * falling level. Any bytes decode to some signal; bits that a damaged frame asks for past its end
 * read as 0. */
void g719_decoder_decode(g719_decoder* decoder, const uint8_t* bytes, int16_t* samples,
                         int32_t erasure_flag);

int32_t g719_encoder_frame_samples(const g719_encoder* encoder);
int32_t g719_encoder_frame_bytes(const g719_encoder* encoder);
int32_t g719_decoder_frame_samples(const g719_decoder* decoder);
int32_t g719_decoder_frame_bytes(const g719_decoder* decoder);

/* Release the instance. Null is allowed and does nothing. */
void g719_encoder_destroy(g719_encoder* encoder);
void g719_decoder_destroy(g719_decoder* decoder);

#ifdef __cplusplus
}
#endif
/* NOLINTEND(modernize-deprecated-headers,modernize-use-using) */
