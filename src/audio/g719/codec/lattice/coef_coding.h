#pragma once

#include "../frame/soft_bits.h"
#include "../word.h"

namespace g719 {

// The coefficient fields of a frame, group by group. With `coef_huffman_flag` the index values of
// bands with 2 to 5 bits a coefficient are Huffman words; all others have fixed length.
// `coef_index` of the writing side points at the group's first coefficient, `band_bits` at band 0.

// Bits of the group's fields with the flag set.
Word16 count_coef_huffman_bits(const Word16* coef_index, const Word16* band_bits, Word16 first_band,
                               Word16 end_band, Word16 width);

// Writes the group's fields and returns their bits. Overwrites less than a block of soft bits
// behind them.
Word16 write_coef_fields(const Word16* coef_index, const Word16* band_bits, Word16* position,
                         Word16 coef_huffman_flag, Word16 first_band, Word16 end_band,
                         Word16 width);

// Reads the group's fields into coef_index (all 800 entries; the group begins at first_coef) and
// returns their bits. Any bits decode. Less than a block of soft bits behind the fields is looked
// at.
Word16 read_coef_fields(const Word16* band_bits, const BitWindow* position,
                        Word16 coef_huffman_flag, Word16 first_coef, Word16 first_band,
                        Word16 end_band, Word16 width, Word16* coef_index);

// Reads `count` Huffman words of the code for `bits` (2 to 5) and returns the bits they took.
Word16 decode_coef_huffman(const BitWindow* position, Word16 count, Word16 bits, Word16* values);

}  // namespace g719
