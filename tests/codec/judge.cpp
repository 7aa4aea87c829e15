// Judges the kernels inside the running codec: the linker sends every call between object files
// here, where the kernel and its operator-by-operator twin run on equal arguments. The program
// ends at the first difference, and fails if some kernel was never called.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <tuple>
#include <type_traits>
#include <vector>

#include "envelope/band_layout.h"
#include "envelope/band_norms.h"
#include "envelope/bit_allocation.h"
#include "envelope/normalisation.h"
#include "frame/processor_level.h"
#include "lattice/lattice_decoder.h"
#include "lattice/lattice_encoder.h"
#include "lattice/noise.h"
#include "literal.h"
#include "transform/analysis_window.h"
#include "transform/dct4.h"
#include "transform/forward_transform.h"
#include "transform/inverse_transform.h"
#include "transform/synthesis.h"
#include "transform/transient_detector.h"

namespace {

using namespace g719;

struct Kernel {
  explicit Kernel(const char* kernel_name) : name(kernel_name) { all().push_back(this); }
  static std::vector<Kernel*>& all() {
    static std::vector<Kernel*> kernels;
    return kernels;
  }

  const char* name;
  long calls = 0;
};

[[noreturn]] void stop(const Kernel& kernel, int argument, long cell) {
  const auto* test = testing::UnitTest::GetInstance()->current_test_info();
  std::fflush(stdout);
  std::fprintf(stderr, "%s, call %ld, in %s: first difference in ", kernel.name, kernel.calls,
               test != nullptr ? test->name() : "no test");
  if (argument == 0) {
    std::fprintf(stderr, "the result\n");
  } else {
    std::fprintf(stderr, "argument %d, cell %ld\n", argument, cell);
  }
  std::abort();
}

// An array argument. What the kernel may write is compared as a whole: cells that it should leave
// alone too.
template <typename T>
struct Array {
  T* data;
  long size;
};
template <typename T>
Array<T> array(T* data, long size) {
  return {data, size};
}

// The twin's copy of an argument.
template <typename T>
std::vector<std::remove_const_t<T>> copy_of(Array<T> a) {
  return {a.data, a.data + a.size};
}
Word16 copy_of(Word16 scalar) { return scalar; }

template <typename T>
T* argument(Array<T> a) {
  return a.data;
}
template <typename T>
T* argument(std::vector<T>& copy) {
  return copy.data();
}
Word16 argument(Word16 scalar) { return scalar; }

bool same(const g719_encoder_state& a, const g719_encoder_state& b) {
  const auto detector = [](const g719_encoder_state& s) {
    return std::tie(s.transient_hangover, s.filter_output_memory, s.filter_input_memory,
                    s.energy_memory_high, s.energy_memory_low, s.frame_bits);
  };
  return detector(a) == detector(b) && std::ranges::equal(a.analysis_memory, b.analysis_memory);
}
template <typename T>
bool same(T a, T b) {
  return a == b;
}

template <typename T>
void compare(const Kernel& kernel, int position, Array<T> a, const auto& twin) {
  if constexpr (!std::is_const_v<T>) {
    for (long i = 0; i < a.size; ++i) {
      if (!same(a.data[i], twin[static_cast<std::size_t>(i)])) stop(kernel, position, i);
    }
  }
}
void compare(const Kernel&, int, Word16, Word16) {}

template <typename Real, typename Twin, typename... Arguments>
auto judge(Kernel& kernel, Real real, Twin twin, Arguments... arguments) {
  ++kernel.calls;
  auto copies = std::make_tuple(copy_of(arguments)...);
  const auto run_twin = [&] {
    return std::apply([&](auto&... copy) { return twin(argument(copy)...); }, copies);
  };
  const auto compare_all = [&] {
    int position = 0;
    std::apply([&](auto&... copy) { (compare(kernel, ++position, arguments, copy), ...); }, copies);
  };
  if constexpr (std::is_void_v<decltype(run_twin())>) {
    real(argument(arguments)...);
    run_twin();
    compare_all();
  } else {
    const auto result = real(argument(arguments)...);
    if (result != run_twin()) stop(kernel, 0, 0);
    compare_all();
    return result;
  }
}

template <typename Function>
struct ResultOf;
template <typename Result, typename... Parameters>
struct ResultOf<Result(Parameters...)> {
  using Type = Result;
};

void four_dct4_240(const Word32* x, Word32* X) {
  for (int r = 0; r < 4; ++r) literal::dct4_240(x + 240 * r, X + 240 * r);
}

void all_band_norms(const Word32* spectrum, Word16* norms) {
  for (Word16 g = 0; g < NUM_BAND_GROUPS; ++g) {
    for (Word16 b = BAND_GROUPS[g].first_band; b < BAND_GROUPS[g].end_band; ++b) {
      literal::compute_band_norm(spectrum + band_start[b], norms + b,
                                 b == 0 ? FIRST_NORM_LEVELS : NUM_NORM_LEVELS, band_width[b], g);
    }
  }
}

}  // namespace

// SYMBOL_kernel is the kernel's name for the linker, which is told to wrap it.
#define JUDGE_BY(twin, kernel, parameters, ...)                           \
  decltype(g719::kernel) real_##kernel asm("__real_" SYMBOL_##kernel);    \
  decltype(g719::kernel) wrapped_##kernel asm("__wrap_" SYMBOL_##kernel); \
  static Kernel kernel_##kernel(#kernel);                                 \
  ResultOf<decltype(g719::kernel)>::Type wrapped_##kernel parameters {    \
    return judge(kernel_##kernel, real_##kernel, twin, __VA_ARGS__);      \
  }
#define JUDGE(kernel, parameters, ...) JUDGE_BY(literal::kernel, kernel, parameters, __VA_ARGS__)

// Encoder.
JUDGE(detect_transient, (const Word16* samples, g719_encoder_state* state),
      array(samples, FRAME_SAMPLES), array(state, 1))
JUDGE(window_and_fold, (const Word16* samples, Word32* folded, Word32* memory),
      array(samples, FRAME_SAMPLES), array(folded, FRAME_SAMPLES), array(memory, FRAME_SAMPLES / 2))
JUDGE(forward_transform, (const Word32* folded, Word32* spectrum, bool transient),
      array(folded, FRAME_SAMPLES), array(spectrum, FRAME_SAMPLES), transient)
JUDGE_BY(all_band_norms, compute_band_norms, (const Word32* spectrum, Word16* norms),
         array(spectrum, NUM_CODED_COEFS), array(norms, NUM_BANDS))
JUDGE(normalize_band_group,
      (Word32 * coefs, const Word16* norms, Word16 first_band, Word16 end_band, Word16 width,
       Word16* normalized),
      array(coefs, (end_band - first_band) * width), array(norms, NUM_BANDS), first_band, end_band,
      width, array(normalized, (end_band - first_band) * width))
JUDGE(quantize_band_group,
      (const Word16* norm_coefs, const Word16* band_bits, Word16 first_band, Word16 end_band,
       Word16 width, Word16* coef_index),
      array(norm_coefs, (end_band - first_band) * width), array(band_bits, NUM_BANDS), first_band,
      end_band, width, array(coef_index, (end_band - first_band) * width))
JUDGE(estimate_noise_level, (const Word16* norm_coefs, const Word16* band_bits),
      array(norm_coefs, NUM_CODED_COEFS), array(band_bits, NUM_BANDS))

// Both.
JUDGE_BY(four_dct4_240, dct4_240, (const Word32* x, Word32* X), array(x, FRAME_SAMPLES),
         array(X, FRAME_SAMPLES))
JUDGE(dct4_960, (const Word32* x, Word32* X), array(x, FRAME_SAMPLES), array(X, FRAME_SAMPLES))
JUDGE(compute_band_weights, (const Word16* levels, Word16* weights, Word16 transient_flag),
      array(levels, NUM_BANDS), array(weights, NUM_BANDS), transient_flag)
JUDGE(sort_bands_by_weight, (Word16 * weights, Word16 count, Word16* order), array(weights, count),
      count, array(order, count))
JUDGE(allocate_bits,
      (const Word16* weights, const Word16* order, Word16 budget, Word16 count, Word16 max_bits,
       Word16* bits),
      array(weights, count), array(order, count), budget, count, max_bits, array(bits, NUM_BANDS))

// Decoder.
JUDGE(dequantize_band_group,
      (const Word16* coef_index, const Word16* band_bits, Word16 first_band, Word16 end_band,
       Word16 width, Word16* norm_coefs),
      array(coef_index, (end_band - first_band) * width), array(band_bits, NUM_BANDS), first_band,
      end_band, width, array(norm_coefs, (end_band - first_band) * width))
JUDGE(fill_spectrum,
      (Word16 * norm_coefs, Word32* spectrum, const Word16* band_bits, Word16 transient_flag,
       const Word16* norm_index, Word16 noise_level_index),
      array(norm_coefs, NUM_CODED_COEFS), array(spectrum, NUM_CODED_COEFS),
      array(band_bits, NUM_BANDS), transient_flag, array(norm_index, NUM_BANDS), noise_level_index)
JUDGE(inverse_transform, (const Word32* spectrum, Word32* aliased, bool transient),
      array(spectrum, FRAME_SAMPLES), array(aliased, 2 * FRAME_SAMPLES), transient)
JUDGE(synthesize_frame, (const Word32* aliased, Word16* samples, Word32* memory),
      array(aliased, 2 * FRAME_SAMPLES), array(samples, FRAME_SAMPLES),
      array(memory, FRAME_SAMPLES))

namespace {

class Court : public testing::Environment {
  void TearDown() override {
    if (processor_level() < ProcessorLevel::KERNEL_LEVEL) return;
    for (const Kernel* kernel : Kernel::all()) {
      std::printf("%9ld calls of %s judged\n", kernel->calls, kernel->name);
      EXPECT_GT(kernel->calls, 0) << kernel->name << " was never called";
    }
  }
};
const auto* const COURT = testing::AddGlobalTestEnvironment(new Court);

}  // namespace
