// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/agent_reply.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "protocol/known_answers.h"

namespace zem {
namespace {

class AgentReplyTest : public testing::Test {
 protected:
  AgentReplyTest() { reply_.StartReply("", MakeSessionKey("key")); }

  // The text that `add` leaves in an empty reply.
  template <typename Add>
  std::string Added(Add add) {
    reply_.StartReply("", MakeSessionKey("key"));
    add(&reply_);
    return std::string(reply_.Text().View());
  }

  AgentReply reply_;
};

TEST_F(AgentReplyTest, StatusReplacesEverythingAndLinesFollow) {
  reply_.AddLine("first");
  EXPECT_EQ(reply_.Text(), "first\n");  // no line end in front of the first line
  reply_.StartReply("200", MakeSessionKey("key"));
  reply_.AddLine("");
  reply_.AddBool(true);
  reply_.AddBool(false);
  reply_.AddInt(-2147483647 - 1);
  reply_.AddLine("a\r\nb%0A");
  reply_.AddLine("a\r\nb%0A", Escape::kYes);
  EXPECT_EQ(reply_.Text(), "200\n\n1\n0\n-2147483648\na\r\nb%0A\na%0D%0Ab%0A\n");
  reply_.SetStatus("301").Append("File doesn`t exist");
  EXPECT_EQ(reply_.Text(), "301\nFile doesn`t exist");
  reply_.AddLine("next");
  EXPECT_EQ(reply_.Text(), "301\nFile doesn`t exist\nnext\n");
  reply_.SetStatus("301").Append("open");
  reply_.AddInt(5);
  EXPECT_EQ(reply_.Text(), "301\nopen\n5\n");
}

TEST_F(AgentReplyTest, SealEndsTheTextAndMakesThePacket) {
  for (const auto& c : known::kReplyAnswers) {
    AgentReply reply;
    reply.StartReply(c.text.substr(0, 3), MakeSessionKey(OvString(c.session_key)));
    std::string_view lines = c.text.substr(4);
    lines.remove_suffix(std::min<size_t>(2, lines.size()));  // the seal supplies LF and CR
    reply.Append(lines);
    EXPECT_EQ(reply.SealReply(), c.packet) << c.text;
  }
}

TEST_F(AgentReplyTest, NumbersHaveTheirWidthsAndLimits) {
  const auto number = [this](double x) { return Added([x](AgentReply* r) { r->AddNumber(x); }); };
  const auto part = [this](double x) { return Added([x](AgentReply* r) { r->AddFraction(x); }); };
  EXPECT_EQ(number(0), "     0\n");
  EXPECT_EQ(number(-12), "   -12\n");
  EXPECT_EQ(number(2.5), "     2\n");
  EXPECT_EQ(number(1234567), "1234567\n");
  EXPECT_EQ(number(std::ldexp(1, 53)), "9007199254740992\n");
  EXPECT_EQ(number(-1e32), "-100000000000000005366162204393472\n");  // 34 characters
  EXPECT_EQ(number(1e40), "1000000000000000030378602842700366\n");   // cut at 34
  EXPECT_EQ(part(0), "0.0000\n");
  EXPECT_EQ(part(12.34567), "12.3457\n");
  EXPECT_EQ(part(1e30), "1000000000000000019884624838656.00\n");  // cut at 34
}

TEST_F(AgentReplyTest, FormatsAreCutAt2047AndDroppedBeyond2048) {
  const struct {
    size_t length, kept;
  } cases[] = {{0, 1}, {2047, 2048}, {2048, 2048}, {2049, 0}, {10000, 0}};
  for (const auto& c : cases) {
    const std::string text(c.length, 'x');
    const std::string line = Added([&text](AgentReply* r) { r->AddFormat("%s", text.c_str()); });
    EXPECT_EQ(line.size(), c.kept) << c.length;
    EXPECT_TRUE(line.empty() || line == text.substr(0, c.kept - 1) + "\n") << c.length;
  }
  EXPECT_EQ(Added([](AgentReply* r) { r->AddFormat("%s=%d\nb", "a", 7); }), "a=7\nb\n");
}

TEST_F(AgentReplyTest, TimesAreLocalStamps) {
  setenv("TZ", "XYZ-5:30", 1);
  tzset();
  // 5 March 2010, 01:38:09 UTC, in a zone five and a half hours ahead.
  EXPECT_EQ(Added([](AgentReply* r) { r->AddTime(1267753089); }), "05032010070809\n");
  EXPECT_EQ(Added([](AgentReply* r) { r->AddTime(0); }), "01011970053000\n");
  struct tm fields = {};
  fields.tm_mday = 31;
  fields.tm_mon = 11;
  fields.tm_year = 99;
  fields.tm_sec = 59;
  EXPECT_EQ(Added([&](AgentReply* r) { r->AddTimestamp(fields); }), "31121999000059\n");
  fields.tm_year = 10000;
  EXPECT_EQ(Added([&](AgentReply* r) { r->AddTimestamp(fields); }), "311211900000059\n");
  // A file system in memory keeps any time it is told, up to the last year that fields can hold.
  fields.tm_year = 2147483647;
  EXPECT_EQ(Added([&](AgentReply* r) { r->AddTimestamp(fields); }), "31122147485547000059\n");
}

}  // namespace
}  // namespace zem
