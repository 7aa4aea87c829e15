#pragma once

#include <cstdint>

#include "base/word.h"

namespace g719 {

// One frame between samples and bytes, with soft bits in between. These two are the entries into
// the codec's copy for a processor level; arguments are those of g719_encoder_encode and
// g719_decoder_decode.
void encode_packed_frame(g719_encoder* encoder, const Word16* samples, std::uint8_t* bytes);
void decode_packed_frame(g719_decoder* decoder, const std::uint8_t* bytes, Word16* samples,
                         bool erased);

}  // namespace g719
