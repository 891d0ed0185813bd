// SPDX-License-Identifier: BSD-2-Clause

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "plugin/check.h"

namespace zem::client {
namespace {

TEST(RangeTest, AlertsAsMonitoringPluginsDo) {
  struct Case {
    const char* range;
    double value;
    bool alerts;
  };
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();  // alerts in any case
  const Case cases[] = {
      {"10", -0.1, true},    {"10", 0, false},       {"10", 10, false},    {"10", 10.1, true},
      {"10:", 9.9, true},    {"10:", 10, false},     {"10:", 1e15, false}, {":10", -1, true},
      {":10", 10, false},    {"~:10", -1e15, false}, {"~:10", 10.5, true}, {"~:", 5, false},
      {"5:10", 4.9, true},   {"5:10", 5, false},     {"5:10", 10, false},  {"5:10", 11, true},
      {"@5:10", 4.9, false}, {"@5:10", 5, true},     {"@5:10", 10, true},  {"@5:10", 11, false},
      {"@10", 0, true},      {"@10", 11, false},     {"@~:0", -3, true},   {"@~:0", 1, false},
      {"-10:-5", -7, false}, {"-10:-5", -4, true},   {"0", 0, false},      {"0", 1, true},
      {"1.5:2.5", 2, false}, {"1.5:2.5", 1.4, true}, {"~:", kNone, true},  {"@5:10", kNone, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.range << " at " << c.value);
    EXPECT_EQ(PlainRange(c.range).Alerts(c.value), c.alerts);
  }
}

TEST(RangeTest, RefusesWhatIsNoRange) {
  for (const char* text : {"", "x", "10:5", "1:2:3", "@", "~", "10%", "1e3", " 5", "5 ", "0x10",
                           "inf", "nan", "1.", ".5", "--5", "5:x", "~5:10", "@@5"}) {
    SCOPED_TRACE(text);
    EXPECT_THROW(PlainRange(text), std::invalid_argument);
  }
}

TEST(RangeTest, ReadsTheUnitsOfEachKindOfFigure) {
  struct Case {
    RangeParser parse;
    const char* text;
    const char* meaning;
  };
  const Case cases[] = {
      {BytesRange, "1K", "1024"},
      {BytesRange, "1KiB:2MB", "1024:2097152"},
      {BytesRange, "1.5G", "1610612736"},
      {SecondsRange, "500ms", "0.5"},
      {SecondsRange, "2:1m", "2:60"},
      {MinutesRange, "5", "300"},
      {MinutesRange, "30s", "30"},
      {MinutesRange, "2h:1d", "7200:86400"},
      {PercentRange, "80%", "80"},
      {PercentRange, "5:80", "5:80"},
      {PlainRange, "@~:3", "@~:3"},
      {FreeSpaceRange, "20%", "20:"},
      {FreeSpaceRange, "5G", "5368709120:"},
      {FreeSpaceRange, "5%:90%", "5:90"},
      {FreeSpaceRange, "@0:10", "@10"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.parse(c.text).Text(), c.meaning);
  }
  EXPECT_TRUE(FreeSpaceRange("20%").percent);
  EXPECT_FALSE(FreeSpaceRange("20G").percent);
  EXPECT_THROW(BytesRange("5s"), std::invalid_argument);
  EXPECT_THROW(SecondsRange("5K"), std::invalid_argument);
}

TEST(StateTest, CriticalComesFirstAndTheWorstOfManyCounts) {
  const Thresholds both = {PlainRange("10"), PlainRange("20")};
  EXPECT_EQ(both.Judge(5), State::kOk);
  EXPECT_EQ(both.Judge(15), State::kWarning);
  EXPECT_EQ(both.Judge(25), State::kCritical);
  EXPECT_EQ(Thresholds().Judge(1e9), State::kOk);
  const State ascending[] = {State::kOk, State::kUnknown, State::kWarning, State::kCritical};
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      EXPECT_EQ(Worse(ascending[i], ascending[j]), ascending[std::max(i, j)]);
    }
  }
  EXPECT_EQ(ParseState("unknown"), State::kUnknown);
  EXPECT_EQ(ParseState("2"), State::kCritical);
  EXPECT_EQ(ParseState("4"), std::nullopt);
  EXPECT_EQ(ParseState(""), std::nullopt);
}

TEST(PluginLineTest, WritesOneLineWithFiguresBehindOneBar) {
  const Thresholds limits = {PlainRange("10"), PlainRange("5:20")};
  const Verdict verdict = {State::kWarning,
                           "a|b\nc\x1b[31m",
                           {{"it's =1", 12.5, "B", limits, 0, 100},
                            {"/", 3, "", {}, {}, {}},
                            {"x", 1e15 + 1, "s", {}, {}, 7}}};
  EXPECT_EQ(PluginLine("disk", verdict),
            "DISK WARNING - a/b\\nc\\x1b[31m | 'it''s _1'=12.5B;10;5:20;0;100 '/'=3 "
            "'x'=1000000000000001s;;;;7");
  EXPECT_EQ(PluginLine("cpu", {State::kOk, "fine", {}}), "CPU OK - fine");
}

}  // namespace
}  // namespace zem::client
