// The basic operators against their definition in integers wide enough for every intermediate
// value: results with and without flags, and the flags.
#include "operators/basic_operators.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

namespace {

using namespace g719;
using Wide = std::int64_t;

// What an operator would give in unlimited range, and whether it saturates.
struct Exact {
  Wide value;
  bool overflow = false;
  bool silent = false;  // saturates without a trace in the flag
};

Wide power(Wide n) { return Wide{1} << n; }
Wide floor_shift(Wide a, Wide n) { return a >> n; }

// a * 2^n for counts of either sign, those beyond the word's width cut to it.
Wide shifted(Wide a, Wide n, Wide width) {
  return n < 0 ? floor_shift(a, std::min(-n, width)) : a * power(std::min(n, width));
}
Wide shifted_half_up(Wide a, Wide n, Wide width) {
  if (n >= width) return 0;
  return n > 0 ? floor_shift(a + power(n - 1), n) : shifted(a, -n, width);
}

// Left shifts until the value fills a word of this many bits besides its sign.
Wide shifts_to_fill(Wide a, Wide bits) {
  if (a == 0) return 0;
  Wide n = 0;
  for (Wide v = a < 0 ? ~a : a; n < bits && v < power(bits - 1); v *= 2) n++;
  return n;
}

Exact multiply_long_by_short(Wide a, Wide v) {
  const Wide upper = 2 * floor_shift(a, 16) * v;
  const bool saturates = upper == power(31);
  return {(saturates ? upper - 1 : upper) + floor_shift((a & 0xffff) * v, 15), saturates};
}

// Limits, powers of two with their neighbours, shift counts, and random values of every width.
template <typename Word>
const std::vector<Word>& samples() {
  static const std::vector<Word> values = [] {
    constexpr int bits = std::numeric_limits<Word>::digits;
    std::vector<Word> v;
    for (int n = -40; n <= 40; n++) v.push_back(static_cast<Word>(n));
    for (int n = 6; n <= bits; n++) {
      for (Wide d = -1; d <= 1; d++) {
        v.push_back(
            static_cast<Word>(std::min<Wide>(power(n) + d, std::numeric_limits<Word>::max())));
        v.push_back(
            static_cast<Word>(std::max<Wide>(-power(n) + d, std::numeric_limits<Word>::min())));
      }
    }
    std::mt19937 random(1);
    for (int i = 0; i < 60; i++)
      v.push_back(static_cast<Word>(static_cast<Word>(random()) >> (i % bits)));
    return v;
  }();
  return values;
}

// Calls visit with every combination of samples.
template <typename... Words, typename Visit>
void for_all(Visit visit) {
  const auto expand = [&visit](auto&& self, auto arguments) -> void {
    constexpr std::size_t n = std::tuple_size_v<decltype(arguments)>;
    if constexpr (n == sizeof...(Words)) {
      std::apply(visit, arguments);
    } else {
      for (auto v : samples<std::tuple_element_t<n, std::tuple<Words...>>>()) {
        self(self, std::tuple_cat(arguments, std::make_tuple(v)));
      }
    }
  };
  expand(expand, std::tuple<>{});
}

template <typename... Words, typename Operator, typename Quiet, typename Model>
void check(const char* name, Operator op, Quiet quiet_op, Model model) {
  using Result = std::invoke_result_t<Operator, Words...>;
  int failures = 0;
  for_all<Words...>([&](auto... a) {
    Exact exact = model(Wide{a}...);
    const Wide value = std::clamp<Wide>(exact.value, std::numeric_limits<Result>::min(),
                                        std::numeric_limits<Result>::max());
    if (value != exact.value) exact.overflow = !exact.silent;
    flags = {0, 0};
    const bool right = op(a...) == value && flags.overflow == exact.overflow && flags.carry == 0;
    flags = {1, 1};
    const bool sticky = op(a...) == value && flags.overflow == 1 && flags.carry == 1;
    if ((!right || !sticky || quiet_op(a...) != value) && failures++ == 0) {
      ADD_FAILURE() << name << testing::PrintToString(std::make_tuple(a...)) << ": flags "
                    << op(a...) << ", quiet " << quiet_op(a...) << ", exact " << value;
    }
  });
}

#define BOTH(name) \
#name, [](auto... a) { return g719::name(a...); }, [](auto... a) { return quiet::name(a...); }

TEST(Operators, EqualTheirWideDefinition) {
  using W = Wide;
  check<Word16, Word16>(BOTH(add), [](W a, W b) { return Exact{a + b}; });
  check<Word16, Word16>(BOTH(sub), [](W a, W b) { return Exact{a - b}; });
  check<Word16>(BOTH(abs_s), [](W a) { return Exact{std::abs(a), false, true}; });
  check<Word16, Word16>(BOTH(shl), [](W a, W n) { return Exact{shifted(a, n, 16)}; });
  check<Word16, Word16>(BOTH(shr), [](W a, W n) { return Exact{shifted(a, -n, 16)}; });
  check<Word16, Word16>(BOTH(shr_r), [](W a, W n) { return Exact{shifted_half_up(a, n, 16)}; });
  check<Word16, Word16>(BOTH(mult), [](W a, W b) { return Exact{floor_shift(a * b, 15)}; });
  check<Word16, Word16>(BOTH(L_mult), [](W a, W b) { return Exact{2 * a * b}; });
  check<Word16, Word16>(BOTH(L_mult0), [](W a, W b) { return Exact{a * b}; });
  check<Word32>(BOTH(extract_h), [](W a) { return Exact{floor_shift(a, 16)}; });
  check<Word32>(BOTH(extract_l), [](W a) { return Exact{((a + 32768) & 0xffff) - 32768}; });
  check<Word32>(BOTH(round), [](W a) { return Exact{floor_shift(a + 32768, 16)}; });
  check<Word32, Word32>(BOTH(L_add), [](W a, W b) { return Exact{a + b}; });
  check<Word32, Word32>(BOTH(L_sub), [](W a, W b) { return Exact{a - b}; });
  check<Word32, Word16, Word16>(BOTH(L_mac0), [](W s, W a, W b) { return Exact{s + a * b}; });
  check<Word32, Word16, Word16>(BOTH(L_msu0), [](W s, W a, W b) { return Exact{s - a * b}; });
  check<Word32>(BOTH(L_negate), [](W a) { return Exact{-a, false, true}; });
  check<Word32>(BOTH(L_abs), [](W a) { return Exact{std::abs(a), false, true}; });
  check<Word32, Word16>(BOTH(L_shl), [](W a, W n) { return Exact{shifted(a, n, 32)}; });
  check<Word32, Word16>(BOTH(L_shr), [](W a, W n) { return Exact{shifted(a, -n, 32)}; });
  check<Word32, Word16>(BOTH(L_shr_r), [](W a, W n) { return Exact{shifted_half_up(a, n, 32)}; });
  check<Word32, Word16>(BOTH(L_mls), [](W a, W v) { return multiply_long_by_short(a, v); });
  check<Word16>(BOTH(norm_s), [](W a) { return Exact{shifts_to_fill(a, 15)}; });
  check<Word32>(BOTH(norm_l), [](W a) { return Exact{shifts_to_fill(a, 31)}; });
}

#define EXPECT_CORNER(expression, value, overflow_flag) \
  flags = {0, 0};                                       \
  EXPECT_EQ(expression, value);                         \
  EXPECT_EQ(flags.overflow, overflow_flag) << #expression

TEST(Operators, Corners) {
  EXPECT_CORNER(L_mult(MIN_16, MIN_16), MAX_32, 1);
  EXPECT_CORNER(mult(MIN_16, MIN_16), MAX_16, 1);
  EXPECT_CORNER(shl(1, 15), MAX_16, 1);
  EXPECT_CORNER(shl(0, 20), 0, 0);
  EXPECT_CORNER(shl(16384, 1), MAX_16, 1);
  EXPECT_CORNER(shl(-16384, 1), MIN_16, 0);
  EXPECT_CORNER(shl(-1, 15), MIN_16, 0);
  EXPECT_CORNER(shl(-1, 16), MIN_16, 1);
  EXPECT_CORNER(shr(-1, 20), -1, 0);
  EXPECT_CORNER(shr_r(MIN_16, 15), -1, 0);
  EXPECT_CORNER(L_shr(-5, 40), -1, 0);
  EXPECT_CORNER(L_shr(5, -1), 10, 0);
  EXPECT_CORNER(L_shl(1073741824, 1), MAX_32, 1);
  EXPECT_CORNER(L_shr_r(-3, 1), -1, 0);
  EXPECT_CORNER(L_shr_r(MAX_32, 31), 1, 0);
  EXPECT_CORNER(round(MAX_32 - 32767), MAX_16, 1);
  EXPECT_CORNER(round(MAX_32 - 32768), MAX_16, 0);
  EXPECT_CORNER(norm_l(1), 30, 0);
  EXPECT_CORNER(norm_l(1073741824), 0, 0);
  EXPECT_CORNER(norm_l(MIN_32), 0, 0);
  EXPECT_CORNER(norm_l(0), 0, 0);
  EXPECT_CORNER(norm_l(-1), 31, 0);
  EXPECT_CORNER(norm_s(MIN_16), 0, 0);
  EXPECT_CORNER(norm_s(-1), 15, 0);
  EXPECT_CORNER(div_s(1, 3), 10922, 0);
  EXPECT_CORNER(div_s(5, 5), MAX_16, 0);
  EXPECT_CORNER(div_s(0, 7), 0, 0);
  EXPECT_CORNER(L_mls(MAX_32, MAX_16), 2147418111, 0);
  EXPECT_CORNER(L_mls(MIN_32, MIN_16), MAX_32, 1);
  EXPECT_CORNER(abs_s(MIN_16), MAX_16, 0);
  EXPECT_CORNER(L_sub(0, MIN_32), MAX_32, 1);
  EXPECT_CORNER(L_add_c(MAX_32, 1), MIN_32, 1);
  EXPECT_EQ(flags.carry, 0);
}

TEST(Operators, AdditionWithCarryAssignsBothFlags) {
  const auto expect_sum = [](Wide a, Wide b, auto sum_of) {
    for (int carry : {0, 1}) {
      const auto sum = static_cast<Word32>(a + b);  // wrapped, before the carry
      const bool overflow = a + b != sum || (carry == 1 && sum == MAX_32);
      const bool carries =
          (a & 0xffffffff) + (b & 0xffffffff) > 0xffffffff || (carry == 1 && sum == -1);
      flags = {1, carry};
      ASSERT_EQ(sum_of(), static_cast<Word32>(a + b + carry)) << a << " + " << b;
      ASSERT_EQ(flags.overflow, overflow) << a << " + " << b << " + " << carry;
      ASSERT_EQ(flags.carry, carries) << a << " + " << b << " + " << carry;
    }
  };
  for_all<Word32, Word32>([&](auto a, auto b) { expect_sum(a, b, [=] { return L_add_c(a, b); }); });
  for_all<Word32, Word16, Word16>([&](auto a, auto b, auto c) {
    expect_sum(a, std::min<Wide>(Wide{2} * b * c, MAX_32), [=] { return L_macNs(a, b, c); });
  });
}

TEST(Operators, DivisionIsTheFlooredQuotient) {
  for_all<Word16, Word16>([](Word16 num, Word16 den) {
    if (num < 0 || den <= 0 || num > den) return;
    flags = {0, 0};
    ASSERT_EQ(div_s(num, den), std::min(num * 32768 / den, 32767)) << num << " / " << den;
    ASSERT_EQ(flags.overflow, 0);
  });
}

// The messages go to the standard output, which a death test does not see by itself.
TEST(OperatorsDeathTest, DivisionEndsTheProcessOutsideItsContract) {
  const auto divide = [](Word16 num, Word16 den) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    div_s(num, den);
  };
  const auto aborts = testing::KilledBySignal(SIGABRT);
  EXPECT_EXIT(divide(3, 2), aborts, "Division Error var1=3  var2=2\n");
  EXPECT_EXIT(divide(-1, 2), aborts, "Division Error var1=-1  var2=2\n");
  EXPECT_EXIT(divide(-5, -4), aborts, "Division Error var1=-5  var2=-4\n");
  EXPECT_EXIT(divide(1, 0), aborts, "Division Error var1=1  var2=0\n");
  EXPECT_EXIT(divide(0, 0), aborts, "Division by 0, Fatal error \n");
}

}  // namespace
