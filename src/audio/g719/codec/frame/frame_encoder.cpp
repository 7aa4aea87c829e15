#include "frame/frame_encoder.h"

#include "frame/block_scaling.h"
#include "frame/frame_fields.h"
#include "frame/spectrum_encoder.h"
#include "lattice/noise.h"
#include "transform/analysis_window.h"
#include "transform/forward_transform.h"
#include "transform/transient_detector.h"

namespace g719 {

namespace {

// The MDCT of the previous and the present frame, or with `transient` four short ones.
void analyse(const Word16* samples, bool transient, Word32* analysis_memory, Word32* spectrum) {
  Word32 block[FRAME_SAMPLES];
  window_and_fold(samples, block, analysis_memory);
  const int block_shift = headroom(block, FRAME_SAMPLES);
  shift_left(block, FRAME_SAMPLES, block_shift);
  forward_transform(block, spectrum, transient);
  shift_right(spectrum, FRAME_SAMPLES, block_shift);
}

}  // namespace

void init_encoder_state(g719_encoder_state* state, int frame_bits) {
  *state = {};
  set_frame_bits(frame_bits, state);
}

void encode_frame(const Word16* samples, std::uint8_t* bytes, g719_encoder_state* state) {
  FrameFields fields;
  fields.transient = detect_transient(samples, state);

  Word32 spectrum[FRAME_SAMPLES];
  analyse(samples, fields.transient, state->analysis_memory, spectrum);

  Word16 norm_coefs[NUM_CODED_COEFS];
  encode_spectrum(spectrum, state->frame_bits, &fields, norm_coefs);
  fields.noise_level_index =
      fields.transient ? 0 : estimate_noise_level(norm_coefs, fields.band_bits) & 3;

  write_frame_fields(&fields, state->frame_bits, bytes);
}

}  // namespace g719
