#include <cstdint>
#include <new>

#include "frame/frame_decoder.h"
#include "frame/frame_encoder.h"
#include "frame/frame_fields.h"
#include "frame/processor_level.h"
#include "g719.h"

namespace {

bool is_supported(std::int32_t bitrate) {
  return bitrate >= G719_MIN_BITRATE && bitrate <= G719_MAX_BITRATE &&
         bitrate % G719_BITRATE_STEP == 0;
}

template <typename Instance>
void set_header(std::int32_t bitrate, Instance* instance) {
  instance->bitrate = bitrate;
  instance->frame_bytes = bitrate / G719_BITRATE_STEP;
  instance->frame_bits = 8 * instance->frame_bytes;
  instance->frame_samples = G719_FRAME_SAMPLES;
}

// A new record with its header set, or null.
template <typename Instance>
Instance* create(std::int32_t bitrate) {
  if (!is_supported(bitrate)) return nullptr;
  auto* instance = new (std::nothrow) Instance;
  if (instance != nullptr) set_header(bitrate, instance);
  return instance;
}

template <typename Instance>
std::int32_t set_bitrate(std::int32_t bitrate, Instance* instance) {
  if (!is_supported(bitrate)) return 0;
  set_header(bitrate, instance);
  g719::set_frame_bits(instance->frame_bits, &instance->state);
  return 1;
}

}  // namespace

g719_encoder* g719_encoder_create(std::int32_t bitrate) {
  auto* encoder = create<g719_encoder>(bitrate);
  if (encoder != nullptr) {
    g719::init_encoder_state(&encoder->state, encoder->frame_bits);
  }
  return encoder;
}

g719_decoder* g719_decoder_create(std::int32_t bitrate) {
  auto* decoder = create<g719_decoder>(bitrate);
  if (decoder != nullptr) {
    g719::init_decoder_state(&decoder->state, decoder->frame_bits);
  }
  return decoder;
}

std::int32_t g719_encoder_set_bitrate(g719_encoder* encoder, std::int32_t bitrate) {
  return set_bitrate(bitrate, encoder);
}

std::int32_t g719_decoder_set_bitrate(g719_decoder* decoder, std::int32_t bitrate) {
  return set_bitrate(bitrate, decoder);
}

void g719_encoder_encode(g719_encoder* encoder, const std::int16_t* samples, std::uint8_t* bytes) {
  processor_level()->encode(samples, bytes, &encoder->state);
}

void g719_decoder_decode(g719_decoder* decoder, const std::uint8_t* bytes, std::int16_t* samples,
                         std::int32_t erasure_flag) {
  processor_level()->decode(bytes, erasure_flag != 0, samples, &decoder->state);
}

std::int32_t g719_encoder_frame_samples(const g719_encoder* encoder) {
  return encoder->frame_samples;
}
std::int32_t g719_encoder_frame_bytes(const g719_encoder* encoder) { return encoder->frame_bytes; }
std::int32_t g719_decoder_frame_samples(const g719_decoder* decoder) {
  return decoder->frame_samples;
}
std::int32_t g719_decoder_frame_bytes(const g719_decoder* decoder) { return decoder->frame_bytes; }

void g719_encoder_destroy(g719_encoder* encoder) { delete encoder; }
void g719_decoder_destroy(g719_decoder* decoder) { delete decoder; }
