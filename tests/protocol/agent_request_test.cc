// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/agent_request.h"

#include <gtest/gtest.h>

#include "protocol/escape.h"

namespace zem {
namespace {

using std::string_view_literals::operator""sv;

TEST(AgentRequest, LinesLieBetweenLineFeeds) {
  const AgentRequest request("one\r\n  two \n\nlast\r");
  EXPECT_EQ(request.CountLines(), 3U);
  const struct {
    size_t number;
    std::string_view trimmed, plain;
  } cases[] = {{0, "", ""},           {1, "one", "one\r"}, {2, "two", "  two "}, {3, "", ""},
               {4, "last", "last\r"}, {5, "", ""},         {SIZE_MAX, "", ""}};
  for (const auto& c : cases) {
    EXPECT_EQ(request.GetLine(c.number), c.trimmed) << c.number;
    EXPECT_EQ(request.GetLine(c.number, Trim::kNo), c.plain) << c.number;
  }
  EXPECT_EQ(AgentRequest("\n").GetLine(2), "");
  EXPECT_EQ(AgentRequest("").CountLines(), 0U);
  EXPECT_EQ(AgentRequest("a\n1\n 1 \ntrue\n").GetFlagLine(2), true);
  EXPECT_EQ(AgentRequest("a\n1\n 1 \ntrue\n").GetFlagLine(3), true);
  EXPECT_EQ(AgentRequest("a\n1\n 1 \ntrue\n").GetFlagLine(4), false);
  EXPECT_EQ(AgentRequest(" -7 \r\n1.5\n").GetNumberLine(1), -7);
  EXPECT_EQ(AgentRequest(" -7 \r\n1.5\n").GetNumberLine(2), std::nullopt);
  EXPECT_EQ(AgentRequest(" -7 \r\n1.5\n").GetNumberLine(3), 0);
}

TEST(AgentRequest, NamedParametersAreFoundToTheLetter) {
  const struct {
    std::string_view text, name, value;
  } cases[] = {
      {"File=/tmp/a\nFile=/tmp/b\n\r", "File", "/tmp/a"},
      {"File=/tmp/a\nFile=/tmp/b\n\r", "file", ""},
      {"Mode =  2\n", "Mode", "2"},
      {" \tMode\t= 2 \r\n", "Mode", "2"},
      {"a=b=c=\n", "a", "b=c="},
      {"Last=1", "Last", ""},
      {"Last=1\r", "Last", ""},
      {"no equals\nx=1\n", "x", "1"},
      {"no equals\n", "no equals", ""},
      {"ab=1\na=2\n", "a", "2"},
      {"a=1\n", "ab", ""},
      {"a=\na=2\n", "a", ""},
      {"=v\n", "", "v"},
      {"a=x\0y\n"sv, "a", "x\0y"sv},
      {"a=1\r\rb=2\n", "b", ""},
      {"", "a", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(AgentRequest(c.text).GetParam(c.name), c.value) << c.text;
}

TEST(AgentRequest, ValuesAreConverted) {
  const struct {
    const char* value;
    int32_t as_int;
    double as_float;
    bool as_bool, numeric;
  } cases[] = {
      {"", 0, 0, false, true},       {"-", 0, 0, false, true},
      {"1", 1, 1, true, true},       {" 1 ", 1, 1, true, true},
      {"true", 0, 0, false, false},  {"yes", 0, 0, false, false},
      {"12a", 12, 12, false, false}, {"1.5", 1, 1.5, false, false},
      {"11", 11, 11, false, true},   {"-3", -3, -3, false, true},
      {"1-", 1, 1, false, true},     {"99999999999", INT32_MAX, 99999999999.0, false, true},
      {"+1", 1, 1, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    const AgentRequest request(OvString("v=").Append(c.value).Append('\n'));
    EXPECT_EQ(request.GetParamInt("v"), c.as_int);
    EXPECT_EQ(request.GetParamFloat("v"), c.as_float);
    EXPECT_EQ(request.GetParamBool("v"), c.as_bool);
    EXPECT_EQ(request.TryParamInt("v"),
              c.numeric ? std::optional<int32_t>(c.as_int) : std::nullopt);
    EXPECT_EQ(request.TryParamFloat("v"),
              c.numeric ? std::optional<double>(c.as_float) : std::nullopt);
  }
}

TEST(AgentRequest, TimeStampsAreReadByPositionAlone) {
  const auto read = [](const char* value) {
    const AgentRequest request(OvString("t=").Append(value).Append('\n'));
    const DateTimeFields at = request.GetParamDateTime("t");
    return std::vector<int>{at.day, at.month, at.year, at.hour, at.minute, at.second};
  };
  EXPECT_EQ(read("05032010070809"), (std::vector<int>{5, 3, 2010, 7, 8, 9}));
  EXPECT_EQ(read("99999999999999"), (std::vector<int>{99, 99, 9999, 99, 99, 99}));
  for (const char* wrong : {"", "0503201007080", "050320100708090"}) {
    EXPECT_EQ(read(wrong), std::vector<int>(6, 0)) << wrong;
  }
  // Deliberate: no character is checked to be a digit. "/" stands one below "0", ":" one above "9".
  EXPECT_EQ(read("0/:0000000000A"), (std::vector<int>{-1, 100, 0, 0, 0, 17}));
}

TEST(Escape, CarriesLineBreaksAndNothingElse) {
  const struct {
    std::string_view plain, escaped;
  } both_ways[] = {{"", ""},     {"a\nb", "a%0Ab"},  {"\r\n", "%0D%0A"},       {"100%", "100%"},
                   {"%0", "%0"}, {"%%41%", "%%41%"}, {"\0\n\0"sv, "\0%0A\0"sv}};
  for (const auto& c : both_ways) {
    EXPECT_EQ(EscapeLineBreaks(c.plain), c.escaped) << c.plain;
    EXPECT_EQ(UnescapeLineBreaks(c.escaped), c.plain) << c.escaped;
  }
  const struct {
    const char *escaped, *plain;
  } one_way[] = {{"%0a%0d", "%0a%0d"}, {"%%0A", "%\n"}, {"%0%0D", "%0\r"}, {"%0A0D", "\n0D"},
                 {"%0", "%0"},         {"x%0D", "x\r"}, {"%", "%"},        {"%0B", "%0B"}};
  for (const auto& c : one_way) EXPECT_EQ(UnescapeLineBreaks(c.escaped), c.plain) << c.escaped;
}

}  // namespace
}  // namespace zem
