#include "envelope/transient_interleaving.h"

#include <algorithm>
#include <array>

#include "base/band_layout.h"
#include "base/blocks.h"

namespace g719 {

namespace {

constexpr int BLOCK_CODED = NUM_CODED_COEFS / SHORT_BLOCKS;

// A run of each short block's coefficients: first one and length. The interleaved spectrum holds
// block 0's first run, then block 1's first, and so on; then the second runs.
struct Run {
  int first;
  int length;
};
constexpr std::array<Run, 9> RUNS = {
    {{0, 16}, {16, 16}, {32, 16}, {48, 16}, {64, 24}, {88, 24}, {112, 24}, {136, 32}, {168, 32}}};

// Calls move(position in the four short spectra, interleaved position, length) for every run.
template <typename Move>
void for_each_run(Move move) {
  for (const Run& run : RUNS) {
    for (int block = 0; block < SHORT_BLOCKS; ++block) {
      move(block * SHORT_SAMPLES + run.first, SHORT_BLOCKS * run.first + block * run.length,
           run.length);
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
  for (int block = 0; block < SHORT_BLOCKS; ++block) {
    Word32* uncoded = spectrum + block * SHORT_SAMPLES + BLOCK_CODED;
    std::fill_n(uncoded, SHORT_SAMPLES - BLOCK_CODED, 0);
  }
}

}  // namespace g719
