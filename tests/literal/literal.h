// Every kernel of the codec a second time, operator by operator in the order that defines its
// result, each operator with its flags. Slow on purpose: the fast kernels are judged by these.
// Arguments and results are those of the kernel of the same name in namespace g719, which for
// fft120 and dct4_240 does four transforms at once.
#pragma once

#include "g719.h"

namespace literal {

using g719::Word16;
using g719::Word32;

Word16 detect_transient(const Word16* x, g719_encoder_state* state);
void window_and_fold(const Word16* x, Word32* y, Word32* analysis_memory);
void forward_transform(const Word32* y, Word32* X, Word16 transient_flag);
void inverse_transform(const Word32* X, Word32* o, Word16 transient_flag);
void synthesize_frame(const Word32* o, Word16* pcm, Word32* synthesis_memory);
void fft120(Word32* v);  // 120 interleaved complex values
void dct4_240(const Word32* x, Word32* X);
void dct4_960(const Word32* x, Word32* X);

void compute_band_norm(const Word32* coefficients, Word16* norm_out, Word16 limit, Word16 width,
                       Word16 group);
void normalize_band_group(Word32* coefficients, const Word16* norms, Word16 first_band,
                          Word16 end_band, Word16 width, Word16* output);
void compute_band_weights(const Word16* levels, Word16* weights, Word16 transient_flag);
void sort_bands_by_weight(Word16* weights, Word16 count, Word16* order);
void allocate_bits(Word16* weights, const Word16* order, Word16 budget, Word16 count,
                   Word16 max_bits, Word16* bits);

void round_to_d8(const Word16* x, Word16 R, Word16* c);
void d8_point_to_index(const Word16* c, Word16 modulus, Word16* k);
void d8_index_to_point(const Word16* k, Word16 R, Word16* c);
void quantize_one_bit_vector(Word16* u, Word16* out);
void quantize_multi_bit_vector(Word16* u, Word16* k, Word16 modulus, Word16 R);
void quantize_band_group(const Word16* norm_coefs, const Word16* band_bits, Word16 first_band,
                         Word16 end_band, Word16 width, Word16* coef_index);
void dequantize_band_group(const Word16* coef_index, const Word16* band_bits, Word16 first_band,
                           Word16 end_band, Word16 width, Word16* norm_coefs);
Word16 estimate_noise_level(const Word16* norm_coefs, const Word16* band_bits);
void fill_spectrum(Word16* norm_coefs, Word32* spectrum, const Word16* band_bits,
                   Word16 transient_flag, const Word16* norm_index, Word16 noise_level_index);

}  // namespace literal
