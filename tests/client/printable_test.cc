// SPDX-License-Identifier: BSD-2-Clause
#include "model/printable.h"

#include <gtest/gtest.h>

#include <string>

#include "model/secret.h"
#include "output/table.h"
#include "output/units.h"

namespace zem::client {
namespace {

TEST(PrintableTest, NothingReachesTheTerminalThatItWouldObey) {
  struct Case {
    std::string text;
    const char* shown;
  };
  const Case cases[] = {
      {"plain text", "plain text"},
      {"gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80",
       "gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80"},
      {"\x1b[2J", "\\x1b[2J"},
      {"a\r\n\tb", "a\\r\\n\\tb"},
      {std::string("a\0b", 3), "a\\x00b"},
      {"\x7f", "\\x7f"},
      {"\xc2\x9b"
       "31m",
       "\\xc2\\x9b31m"},  // a control character of the upper table
      {"\xe2\x80\xae"
       "abc",
       "\\xe2\\x80\\xaeabc"},                        // writes the rest from right to left
      {"\xd8\x9c", "\\xd8\\x9c"},                    // turns the direction of what is around it
      {"\xf3\xa0\x81\x81", "\\xf3\\xa0\\x81\\x81"},  // a letter that nobody sees
      {"\xff\xc3", "\\xff\\xc3"},
      {"\xc0\xaf", "\\xc0\\xaf"},  // longer than needed
      {"\xe0\x80\xaf", "\\xe0\\x80\\xaf"},
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // half of a pair
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // beyond the last character
      {"\xe2\x82", "\\xe2\\x82"},                    // cut
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.shown);
    EXPECT_EQ(Printable(c.text), c.shown);
  }
  EXPECT_EQ(ToJson("\xc2\x9b\x7f\xe2\x80\xae\xf3\xa0\x81\x81\xff\xc3\xbc"),
            "\"\\u009b\\u007f\\u202e\\udb40\\udc41\xef\xbf\xbd\xc3\xbc\"");
  EXPECT_EQ(Columns("gr\xc3\xbc\xc3\x9f"), 4U);
}

TEST(UnitsTest, RoundsToWhatPeopleRead) {
  const std::pair<std::string, const char*> cases[] = {
      {ReadableBytes(0), "0 B"},
      {ReadableBytes(1023), "1023 B"},
      {ReadableBytes(1024), "1.0 KiB"},
      {ReadableBytes(1024 * 1024 - 1), "1.0 MiB"},
      {ReadableBytes(-2048), "-2.0 KiB"},
      {ReadableBytes(1e30), "888178419700125.2 PiB"},
      {ReadableMillis(0.4213), "0.42 ms"},
      {ReadableMillis(42.13), "42 ms"},
      {ReadableMillis(999.6), "1.0 s"},
      {ReadableMinutes(59), "59 min"},
      {ReadableMinutes(61), "1 h 1 min"},
      {ReadableMinutes(60 * 49), "2 d 1 h"},
      {ReadableMinutes(-61), "-1 h 1 min"},
  };
  for (const auto& [shown, wanted] : cases) EXPECT_EQ(shown, wanted);
}

TEST(RandomPasswordTest, UsesItsWholeAlphabetAndNeverRepeats) {
  std::string seen;
  for (int i = 0; i < 100; ++i) {
    const Secret password = RandomPassword(32);
    EXPECT_EQ(password.View().size(), 32U);
    seen += password.View();
  }
  // 62 signs in 3,200 draws: one is missing with a probability below 1e-20.
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  for (const char sign : alphabet) EXPECT_NE(seen.find(sign), std::string::npos) << sign;
  EXPECT_EQ(seen.find_first_not_of(alphabet), std::string::npos);
  EXPECT_NE(RandomPassword(32).View(), RandomPassword(32).View());
}

}  // namespace
}  // namespace zem::client
