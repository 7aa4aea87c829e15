#include "envelope/transient_interleaving.h"

#include <algorithm>
#include <array>

#include "base/band_layout.h"

namespace g719 {

namespace {

constexpr int BLOCKS = 4;
constexpr int BLOCK_SIZE = FRAME_SAMPLES / BLOCKS;
constexpr int BLOCK_CODED = NUM_CODED_COEFS / BLOCKS;

// A run of each short block's coefficients: first one and length. The interleaved spectrum holds
// block 0's first run, then block 1's first, and so on; then the second runs.
struct Chunk {
  int first;
  int length;
};
constexpr std::array<Chunk, 9> CHUNKS = {
    {{0, 16}, {16, 16}, {32, 16}, {48, 16}, {64, 24}, {88, 24}, {112, 24}, {136, 32}, {168, 32}}};

// Calls move(position in the four short spectra, interleaved position, length) for every run.
template <typename Move>
void for_each_run(Move move) {
  for (const Chunk& chunk : CHUNKS) {
    for (int block = 0; block < BLOCKS; ++block) {
      move(block * BLOCK_SIZE + chunk.first, BLOCKS * chunk.first + block * chunk.length,
           chunk.length);
    }
  }
}

}  // namespace

void interleave_transient_spectrum(Word32* spectrum) {
  Word32 interleaved[NUM_CODED_COEFS];
  for_each_run([&](int in_blocks, int in_bands, int length) {
    std::copy_n(spectrum + in_blocks, length, interleaved + in_bands);
  });
  std::copy_n(interleaved, NUM_CODED_COEFS, spectrum);
}

void deinterleave_transient_spectrum(Word32* spectrum) {
  Word32 interleaved[NUM_CODED_COEFS];
  std::copy_n(spectrum, NUM_CODED_COEFS, interleaved);
  for_each_run([&](int in_blocks, int in_bands, int length) {
    std::copy_n(interleaved + in_bands, length, spectrum + in_blocks);
  });
  for (int block = 0; block < BLOCKS; ++block) {
    std::fill_n(spectrum + block * BLOCK_SIZE + BLOCK_CODED, BLOCK_SIZE - BLOCK_CODED, 0);
  }
}

}  // namespace g719
