// The basic operators over values near limits and powers of two and over random ones: results and
// flags have the digests that they had, and the operators without flags give the same.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <limits>
#include <random>
#include <tuple>

#include "base/flagged_operators.h"
#include "recorded.h"

namespace {

using namespace g719;

template <typename Word>
Word draw(std::mt19937& random) {
  constexpr unsigned BITS = std::numeric_limits<Word>::digits;
  const auto value = static_cast<Word>(random());
  const int near = static_cast<int>(random() % 3) - 1;
  switch (random() % 4) {
    case 0:
      return value % 41;  // shift counts
    case 1:
      return (1U << random() % BITS) + near;
    case 2:
      return near - (1U << random() % (BITS + 1));
    default:
      return value >> random() % BITS;
  }
}

template <typename Result, typename... Words>
void expect_operator(const char* name, Result (*op)(Words...),
                     std::type_identity_t<Result (*)(Words...)> plain) {
  codec_test::Digest digest;
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    const std::tuple<Words...> arguments{draw<Words>(random)...};
    flagged::flags = {i & 1, i >> 1 & 1};
    const Result result = std::apply(op, arguments);
    digest.add_all(
        std::initializer_list<Word32>{result, flagged::flags.overflow, flagged::flags.carry});
    ASSERT_EQ(plain != nullptr ? std::apply(plain, arguments) : result, result) << name;
  }
  codec_test::expect_recorded("operators", name, {digest.text()});
}
#define EXPECT_OPERATOR(name) expect_operator(#name, flagged::name, name)

TEST(Operators, GiveWhatTheyGave) {
  EXPECT_OPERATOR(add), EXPECT_OPERATOR(sub), EXPECT_OPERATOR(abs_s), EXPECT_OPERATOR(mult);
  EXPECT_OPERATOR(shl), EXPECT_OPERATOR(shr), EXPECT_OPERATOR(shr_r), EXPECT_OPERATOR(norm_s);
  EXPECT_OPERATOR(L_add), EXPECT_OPERATOR(L_sub), EXPECT_OPERATOR(L_negate), EXPECT_OPERATOR(L_abs);
  EXPECT_OPERATOR(L_mult), EXPECT_OPERATOR(L_mult0), EXPECT_OPERATOR(L_mac0);
  EXPECT_OPERATOR(L_msu0), EXPECT_OPERATOR(L_mls), EXPECT_OPERATOR(round), EXPECT_OPERATOR(norm_l);
  EXPECT_OPERATOR(L_shl), EXPECT_OPERATOR(L_shr), EXPECT_OPERATOR(L_shr_r);
  EXPECT_OPERATOR(extract_h), EXPECT_OPERATOR(extract_l);
  expect_operator("L_add_c", flagged::L_add_c, nullptr);
  expect_operator("L_macNs", flagged::L_macNs, nullptr);
}

// Outside its contract a division ends the process. The messages go to the standard output, which a
// death test does not see by itself.
TEST(Operators, Division) {
  for (Word16 den = 1; den < 2000; den += 7) {
    for (Word16 num = 0; num <= den; num += 3) {
      ASSERT_EQ(flagged::div_s(num, den), std::min(num * 32768 / den, 32767));
    }
  }
  const auto expect_end = [](Word16 num, Word16 den, const char* message) {
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), flagged::div_s(num, den)),
                testing::KilledBySignal(SIGABRT), message);
  };
  expect_end(3, 2, "Division Error var1=3  var2=2\n");
  expect_end(-1, 2, "Division Error var1=-1  var2=2\n");
  expect_end(-5, -4, "Division Error var1=-5  var2=-4\n");
  expect_end(1, 0, "Division Error var1=1  var2=0\n");
  expect_end(0, 0, "Division by 0, Fatal error \n");
}

}  // namespace
