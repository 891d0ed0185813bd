// SPDX-License-Identifier: BSD-2-Clause
// Commands and messages, asked for over the wire.
#include <fnmatch.h>
#include <gtest/gtest.h>

#include <string>

#include "checks/system/loopback.h"
#include "e2e/agent_process.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;

TEST(Actions, AreOffUntilTheConfigurationAllowsThem) {
  const AgentProcess agent;
  for (const char* word : {"ACT-ExternalCmd", "ACT-Syslog", "ACT-TCPUDPsend"}) {
    EXPECT_EQ(agent.Ask(std::string(word) + "\n"), "600\noperation is not allowed\n") << word;
  }
}

TEST(Actions, AnswerEachRequest) {
  const AgentProcess agent(Options{.config = "executeaction=1\nsyslogaction=1\ntcpudpaction=1\n"});
  const TempDir dir;
  const struct {
    std::string request;
    const char* reply;
  } cases[] = {
      {"ACT-ExternalCmd\nsh -c 'pwd >out; exit 3'\n" + dir.Path() + "\n0\n0\n", "200\n3\n"},
      {"ACT-ExternalCmd\nsleep 60\n/no/such\n0\n-5\n", "301\nabnormal termination\n"},
      {"ACT-ExternalCmd\ntrue\n\nx\n0\n", "501\nWrong parameter\n"},
      {"ACT-ExternalCmd\n\n\n0\n0\n", "501\nCommand line to execute is not specified\n"},
      {"ACT-Syslog\ntwo words\n514\n1\n1\nx\n", "200\nSyslog: Data to two words has been sent\n"},
      {"ACT-Syslog\n127.0.0.1\n514\n1\n8\nx\n", "Wrong parameter\n"},
      {"ACT-TCPUDPsend\ntwo words\n9\n0\nx\n0\n\n",
       "301\nCannot resolve server name to IP address\n"},
      {"ACT-TCPUDPsend\n127.0.0.1\n9\n0\n\n0\n\n", "Wrong parameter\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(agent.Ask(c.request), c.reply) << c.request;
  EXPECT_EQ(ReadFile(dir / "out"), dir.Path() + "\n");
  EXPECT_EQ(ListDir(agent.TempPath()), std::vector<std::string>());
  EXPECT_EQ(agent.Children(), std::vector<pid_t>());
}

TEST(Actions, MessagesArrive) {
  const AgentProcess agent(Options{.config = "syslogaction=1\ntcpudpaction=1\n"});
  const Bound collector(SOCK_DGRAM);
  EXPECT_EQ(
      agent.Ask("ACT-Syslog\n127.0.0.1\n" + collector.PortText() + "\n30\n7\n disk%0D%0Afull \n"),
      "200\nSyslog: Data to 127.0.0.1 has been sent\n");
  const std::string datagram = ReceiveDatagram(collector.Fd());
  const char* form =
      "<247>[A-Z][a-z][a-z][ 1-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9] "
      "[0-9]*.[0-9]*.[0-9]*.[0-9]* OV ZEM: disk\r\nfull";
  EXPECT_EQ(fnmatch(form, datagram.c_str(), 0), 0) << datagram;

  EXPECT_EQ(
      agent.Ask("ACT-TCPUDPsend\n127.0.0.1\n" + collector.PortText() + "\n1\none%0A\n0\ntwo\n"),
      "200\nData has been sent\n");
  EXPECT_EQ(ReceiveDatagram(collector.Fd()), "one\n");
  EXPECT_EQ(ReceiveDatagram(collector.Fd()), "two");

  std::string received;
  TcpServer server([&](int peer) { received = ReceiveAll(peer); });
  EXPECT_EQ(agent.Ask("ACT-TCPUDPsend\n127.0.0.1\n" + server.Port() + "\n0\none,\n1\n two\n"),
            "200\nData has been sent\n");
  server.Join();
  EXPECT_EQ(received, "one, two");
}

}  // namespace
}  // namespace zem::test
