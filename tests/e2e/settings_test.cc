// SPDX-License-Identifier: BSD-2-Clause
// The settings exchange: what is live, what stands in the file, what is reported.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "e2e/agent_process.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;

std::vector<std::string> Tail(const std::string& reply, size_t count) {
  const auto lines = Lines(reply);
  return {lines.end() - static_cast<ptrdiff_t>(std::min(count, lines.size())), lines.end()};
}

TEST(Settings, AreReportedBehindTheAgentInformation) {
  AgentProcess agent(Options{.config = "filterlist=127.0.0.1 10.0.0.1\nfiltermarks=10\n"});
  const auto info = agent.Ask("GetInfo\n");
  const auto reply = agent.Ask("GetSettings\n");
  ASSERT_TRUE(info && reply);
  EXPECT_EQ(Lines(*reply).size(), Lines(*info).size() + 12);
  const std::vector<std::string> expected = {
      "LogOkConn=1",
      "LogBadConn=1",
      "OkLogFile=ok.log",
      "BadLogFile=bad.log",
      "Password=e2e password",
      "IPFiltering=0",
      "IPFilterAddr=127.0.0.1%0D%0A10.0.0.1",
      "IPFilterMarks=10",
      "AllowUpdates=1",
      "AllowRManage=1",
      "UpdateAddr=127.0.0.1",
      "ManageAddr=127.0.0.1",
  };
  EXPECT_EQ(Tail(*reply, 12), expected);
}

TEST(Settings, AreLiveAtOnceAndStandInTheFile) {
  AgentProcess agent(Options{.config = "# a remark stays\ncomment=old\nunc=1 kept tail\n"});
  EXPECT_EQ(agent.Ask("SetSettings\n"
                      "  Comment =  a = b \n"
                      "port=1\n"  // wire names are case-sensitive
                      "no equals sign\n"
                      "Unknown=1\n"
                      "UNC=0\nFolder Size=10\nTCP/UDP send=1\n"
                      "OkLogFile=first.log\nOkLogFile=second.log\n"
                      "IPFilterAddr=10.0.0.1%0D%0A10.0.0.2\n"
                      "Timeout=5000\n"
                      "BadLogFile=unterminated"),
            "200\n");
  const std::string reply = agent.Ask("GetSettings\n").value_or("");
  for (const char* line : {"\nComment=a = b\n", "\nTimeout=5000\n", "\nEnabled actions=010\n",
                           "\nEnabled tests=1100111111111\n", "\nOkLogFile=second.log\n",
                           "\nBadLogFile=bad.log\n", "\nIPFilterAddr=10.0.0.1%0D%0A10.0.0.2\n"}) {
    EXPECT_NE(reply.find(line), std::string::npos) << line << reply;
  }
  const std::string file = ReadFile(agent.ConfigPath());
  for (const char* line : {"# a remark stays\n", "comment=a = b\r\n", "unc=0 kept tail\n",
                           "oklogfile=second.log\r\n", "filterlist=10.0.0.1 10.0.0.2\r\n",
                           "timeout=5000\r\n", "tcpudpaction=1\r\n", "foldersize=0\r\n"}) {
    EXPECT_NE(file.find(line), std::string::npos) << line << file;
  }
  EXPECT_EQ(file.find("freespace"), std::string::npos) << "never gained";
  EXPECT_NE(ReadFile(agent.ConfigPath() + ".Old").find("comment=old\n"), std::string::npos);
  struct stat info;
  ASSERT_EQ(stat(agent.ConfigPath().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600U);
}

TEST(Settings, TheAllowListChangesOnlyWithTheNextLoad) {
  AgentProcess agent;
  EXPECT_EQ(agent.Ask("SetSettings\nIPFiltering=1\nIPFilterAddr=10.9.9.9\nIPFilterMarks=1\n"),
            "200\n");
  EXPECT_TRUE(agent.Answers()) << "the old list still holds";
  EXPECT_EQ(agent.Ask("ReloadCfg\n"), "200\nOk\n");
  EXPECT_FALSE(agent.Answers());
}

}  // namespace
}  // namespace zem::test
