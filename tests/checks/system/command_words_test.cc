// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/command_words.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace zem {
namespace {

using Words = std::vector<std::string>;

Words Split(const std::string& line) {
  const auto words = std::make_unique<CommandWords>(line);
  Words copy(words->Vector(), words->Vector() + words->Count());
  EXPECT_EQ(words->Vector()[words->Count()], nullptr);
  return copy;
}

TEST(CommandWords, EndAtBlanksOrAtTheQuoteTheyBeganWith) {
  const std::pair<const char*, Words> cases[] = {
      {"", {}},
      {"  ", {}},
      {"a", {"a"}},
      {" a  bc ", {"a", "bc"}},
      {"a\tb \tc\t\td", {"a", "b", "\tc", "\td"}},  // a tab ends a word, and begins one too
      {"'a b' \"c d\"", {"a b", "c d"}},
      {"'a\"b' \"a'b\"", {"a\"b", "a'b"}},
      {"''\"\" ''", {"", "", ""}},
      {"'a'b\"c\"", {"a", "b\"c\""}},
      {"a'b c'd", {"a'b", "c'd"}},
      {"'a\tb'\tc", {"a\tb", "\tc"}},
      {"'a b", {"a b"}},  // an end that is missing is that of the line
      {"a '", {"a", ""}},
      {"\"a ' b", {"a ' b"}},
  };
  for (const auto& [line, words] : cases) EXPECT_EQ(Split(line), words) << '[' << line << ']';
}

TEST(CommandWords, StopsAtTwentyThreeWords) {
  std::string line;
  for (int i = 1; i <= 30; ++i) line += std::to_string(i) + " ";
  const Words words = Split(line);
  ASSERT_EQ(words.size(), 23u);
  EXPECT_EQ(words.back(), "23");
  EXPECT_EQ(Split(line.substr(0, line.find("24"))).size(), 23u);
}

TEST(CommandWords, KeepsItsTextsInOneKilobyteWithTheirZeros) {
  EXPECT_EQ(Split(std::string(1023, 'x')).size(), 1u);
  EXPECT_EQ(Split(std::string(1024, 'x')).size(), 0u);
  // 500 + 1 + 522 + 1 fit to the byte; the word that does not fit ends the line, also for a
  // shorter one behind it.
  const std::string first(500, 'x');
  EXPECT_EQ(Split(first + " " + std::string(522, 'y')).size(), 2u);
  EXPECT_EQ(Split(first + " " + std::string(523, 'y') + " z").size(), 1u);
  EXPECT_EQ(Split(first + " " + std::string(522, 'y') + " ''").size(), 2u);
}

}  // namespace
}  // namespace zem
