// The basic operators over limits, neighbours of powers of two and random values: results and flags
// have the digests that they had, and those without flags give the same.

#include "operators/basic_operators.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <limits>
#include <random>

#include "recorded.h"

namespace {

using namespace g719;

template <typename Word>
const std::vector<Word>& samples() {
  static const std::vector<Word> values = [] {
    constexpr int BITS = std::numeric_limits<Word>::digits;
    std::vector<Word> v = {std::numeric_limits<Word>::min(), std::numeric_limits<Word>::max()};
    for (int n = -40; n <= 40; ++n) v.push_back(n);  // shift counts
    std::mt19937 random(1);
    for (int n = 6; n < BITS; ++n) {
      for (int near = -1; near <= 1; ++near) {
        v.insert(v.end(), {Word((1 << n) + near), Word(near - (1 << n)),
                           Word(static_cast<Word>(random()) >> (BITS - n))});
      }
    }
    return v;
  }();
  return values;
}

// Calls visit with every combination of samples.
template <typename First, typename... Rest>
void for_all(auto visit) {
  for (const First a : samples<First>()) {
    if constexpr (sizeof...(Rest) == 0) {
      visit(a);
    } else {
      for_all<Rest...>([&](auto... rest) { visit(a, rest...); });
    }
  }
}

template <typename Result, typename... Words>
void expect_operator(const char* name, Result (*op)(Words...),
                     std::type_identity_t<Result (*)(Words...)> quiet_op) {
  codec_test::Digest digest;
  int different = 0;
  for_all<Words...>([&](Words... a) {
    for (const int flag : {0, 1}) {
      flags = {flag, flag};
      const Result result = op(a...);
      digest.add_all(std::initializer_list<Word32>{result, flags.overflow, flags.carry});
      different += quiet_op != nullptr && quiet_op(a...) != result;
    }
  });
  EXPECT_EQ(different, 0) << name;
  codec_test::expect_recorded("operators", name, {digest.text()});
}
#define EXPECT_OPERATOR(name) expect_operator(#name, g719::name, quiet::name)

TEST(Operators, GiveWhatTheyGave) {
  EXPECT_OPERATOR(add), EXPECT_OPERATOR(sub), EXPECT_OPERATOR(abs_s), EXPECT_OPERATOR(mult);
  EXPECT_OPERATOR(shl), EXPECT_OPERATOR(shr), EXPECT_OPERATOR(shr_r), EXPECT_OPERATOR(norm_s);
  EXPECT_OPERATOR(L_add), EXPECT_OPERATOR(L_sub), EXPECT_OPERATOR(L_negate), EXPECT_OPERATOR(L_abs);
  EXPECT_OPERATOR(L_mult), EXPECT_OPERATOR(L_mult0), EXPECT_OPERATOR(L_mac0);
  EXPECT_OPERATOR(L_msu0), EXPECT_OPERATOR(L_mls), EXPECT_OPERATOR(round);
  EXPECT_OPERATOR(L_shl), EXPECT_OPERATOR(L_shr), EXPECT_OPERATOR(L_shr_r);
  EXPECT_OPERATOR(extract_h), EXPECT_OPERATOR(extract_l), EXPECT_OPERATOR(norm_l);
  expect_operator("L_add_c", L_add_c, nullptr);
  expect_operator("L_macNs", L_macNs, nullptr);
}

TEST(Operators, DivisionIsTheFlooredQuotient) {
  for_all<Word16, Word16>([](Word16 num, Word16 den) {
    if (num < 0 || den <= 0 || num > den) return;
    ASSERT_EQ(div_s(num, den), std::min(num * 32768 / den, 32767)) << num << " / " << den;
  });
}

// The messages go to the standard output, which a death test does not see by itself.
TEST(OperatorsDeathTest, DivisionEndsTheProcessOutsideItsContract) {
  const struct {
    Word16 num, den;
    const char* message;
  } CASES[] = {{3, 2, "Division Error var1=3  var2=2\n"},
               {-1, 2, "Division Error var1=-1  var2=2\n"},
               {-5, -4, "Division Error var1=-5  var2=-4\n"},
               {1, 0, "Division Error var1=1  var2=0\n"},
               {0, 0, "Division by 0, Fatal error \n"}};
  for (const auto& [num, den, message] : CASES) {
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), div_s(num, den)),
                testing::KilledBySignal(SIGABRT), message);
  }
}

}  // namespace
