#pragma once

#include "../word.h"

namespace g719 {

// Fields of a frame as soft bits, most significant bit first. A position points at the next soft
// bit; the caller moves it by what was written or read. Readers take only SOFT_BIT_ONE as 1.

// The n low bits of value; more than 16 repeat the sign. Nothing for n < 1.
void write_soft_bits(Word16 value, Word16 n, Word16* position);

// `count` values of `width` bits each; with width 1 the single value values[0] in `count` bits.
void write_soft_bit_array(const Word16* values, Word16 count, Word16 width, Word16* position);

// An unsigned field. 0 for n < 1; 16 bits saturate at 32767.
void read_soft_bits(const Word16* position, Word16 n, Word16* result);

// The reverse of write_soft_bit_array.
void read_soft_bit_array(const Word16* position, Word16 count, Word16 width, Word16* results);

}  // namespace g719
