// SPDX-License-Identifier: BSD-2-Clause
#include "text/numbers.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace zem {
namespace {

TEST(Numbers, ReadsDecimalsAndClampsInsteadOfOverflowing) {
  const struct {
    std::string_view text;
    int32_t narrow;
    int64_t wide;
  } cases[] = {
      {"", 0, 0},
      {"-", 0, 0},
      {"+5", 5, 5},
      {"--5", 0, 0},
      {"- 5", 0, 0},
      {" \t\n\v\f\r12a", 12, 12},
      {"\x01"
       "5",
       0, 0},
      {"1-2", 1, 1},
      {"1.9", 1, 1},
      {"0x10", 0, 0},
      {"010", 10, 10},
      {"x", 0, 0},
      {"2147483647", INT32_MAX, INT32_MAX},
      {"2147483648", INT32_MAX, INT64_C(2147483648)},
      {"-2147483648", INT32_MIN, INT32_MIN},
      {"-2147483649", INT32_MIN, INT64_C(-2147483649)},
      {"4294967297", INT32_MAX, INT64_C(4294967297)},
      {"9223372036854775807", INT32_MAX, INT64_MAX},
      {"9223372036854775808", INT32_MAX, INT64_MAX},
      {"-9223372036854775808", INT32_MIN, INT64_MIN},
      {"-9223372036854775809", INT32_MIN, INT64_MIN},
      {"99999999999999999999999999", INT32_MAX, INT64_MAX},
      {"-99999999999999999999999999", INT32_MIN, INT64_MIN},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ParseInt(c.text), c.narrow) << c.text;
    EXPECT_EQ(ParseInt64(c.text), c.wide) << c.text;
  }
  // The view ends the number, whatever stands behind it in memory.
  EXPECT_EQ(ParseInt(std::string_view("1234").substr(0, 2)), 12);
  EXPECT_EQ(ParseFloat(std::string_view("1.55").substr(0, 3)), 1.5);
  EXPECT_EQ(ParseFloat(" -2.5e1x"), -25.0);
  EXPECT_EQ(ParseFloat("x"), 0.0);
}

TEST(Numbers, DigitsAndDashesInAnyOrderCountAsANumber) {
  for (const char* text : {"", "-", "1-2", "--", "007"}) EXPECT_TRUE(IsNumeric(text)) << text;
  for (const char* text : {"1.5", "+1", " 1", "1 ", "12a", "\xb2"}) {
    EXPECT_FALSE(IsNumeric(text)) << text;
  }
}

}  // namespace
}  // namespace zem
