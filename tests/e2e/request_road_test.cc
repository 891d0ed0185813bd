// SPDX-License-Identifier: BSD-2-Clause
// One request from end to end, and every way in which it can be refused.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/utsname.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "e2e/agent_process.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;

TEST(RequestRoad, GetInfoTellsWhatTheAgentIs) {
  AgentProcess agent(Options{.config = "comment=50% done\nudp=0\nsyslogaction=1\ntimeout=7000\n"});
  std::optional<std::string> reply;
  // The session that told the harness that the agent listens may not have closed yet.
  ASSERT_TRUE(Eventually([&] {
    reply = agent.Ask("GetInfo\n");
    return reply && reply->find("ActiveConnections=1\n") != std::string::npos;
  }));
  const auto lines = Lines(*reply);
  utsname host;
  ASSERT_EQ(uname(&host), 0);
  const std::vector<std::string> expected = {
      "200",
      "AgentName=OV Zem Agent",
      "AgentPlatform=FreeBSD",
      "AgentVersion=1.32",
      "AgentDeveloper=Ovrant (https://ovrant.example/)",
      "Service=0",
      "Active=0",
      "ActiveConnections=1",
      "",  // opened: depends on how often the harness looked
      "FailedConnections=0",
      ("Available tests=TCP%0D%0AUDP%0D%0AUNC%0D%0AFolder Size%0D%0ACount Files%0D%0A"
       "File Availability%0D%0AFile Integrity%0D%0AFile Compare%0D%0AText Log%0D%0AProcess%0D%0A"
       "CPU Usage%0D%0AExternal%0D%0AShell Script%0D%0A"),
      "Enabled tests=1011111111111",
      "Port=" + std::to_string(agent.Port()),
      "Timeout=7000",
      "Comment=50% done",
      "Available actions=Execute external command%0D%0ATCP/UDP send%0D%0ASyslog%0D%0A",
      "Enabled actions=001",
      std::string("HostName=") + host.nodename,
      std::string("RunningOS=") + host.sysname + " " + host.release + " " + host.version,
      "OSUpdates=not implemented",
  };
  ASSERT_EQ(lines.size(), expected.size()) << *reply;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (!expected[i].empty()) {
      EXPECT_EQ(lines[i], expected[i]);
    }
  }
  EXPECT_EQ(lines[8].rfind("OpenedConnections=", 0), 0U);
}

TEST(RequestRoad, StatusesOfTheDispatcher) {
  AgentProcess agent;
  const std::string hostile = "a\x1B[2J\x9B\x7F" + std::string(600, 'x') + "\n\r";
  struct Case {
    const char* request;  // as sent, end mark included where there is one
    const char* reply;
  };
  const Case cases[] = {
      {hostile.c_str(), "500\n"},
      {"getinfo\n\r", "500\n"},
      {"\r", "500\n"},
      {" \t \n\r", "500\n"},
      {"GetInfo\n", "502\n"},
      {"", "502\n"},
      {"NoSuchCommand\r", "500\n"},
      {"TEST-Ping\n\r", "500\nnot implemented yet\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.request);
    const Connection connection(agent.Port());
    ASSERT_TRUE(connection.Send(Packet(c.request)));
    EXPECT_EQ(connection.ReceiveReply().value_or("(closed)"), c.reply);
    EXPECT_TRUE(connection.ClosesWithin(30'000));
  }
  // Nothing that a terminal obeys, and the next entry on a line of its own.
  const std::string shortened = "\"a?[2J??" + std::string(445, 'x') + "\"\n[";
  for (const std::string line : {"EndOfTransmission signal missed\n", "Void request received\n",
                                 "Unknown command \"getinfo\"\n"}) {
    EXPECT_NE(agent.BadLog().find("\t 127.0.0.1\t " + line), std::string::npos);
  }
  EXPECT_NE(agent.BadLog().find("\t 127.0.0.1\t Unknown command " + shortened), std::string::npos);
}

// Nobody without the password makes the agent keep what is still to come, or learns anything.
TEST(RequestRoad, HopelessPacketsAreDroppedAtOnce) {
  AgentProcess agent(Options{.switches = {"-i", "-vd"}, .config = "timeout=60000\n"});
  // Announces a megabyte, but the password that came with it is already wrong.
  std::string wrong = Packet("GetInfo\r", "wrong password");
  wrong.replace(0, 4, std::string("\0\0\x10\0", 4));
  // Announces 2 GiB.
  std::string huge = Packet("GetInfo\r");
  huge.replace(0, 4, std::string("\0\0\0\x7F", 4));
  for (const std::string& bytes : {wrong.substr(0, 30), huge.substr(0, 14)}) {
    const Connection connection(agent.Port());
    ASSERT_TRUE(connection.Send(bytes));
    EXPECT_TRUE(connection.ClosesWithin(30'000));
  }
  for (const char* line : {"<-- TCP packet size: 14\n", "<-- ZEM packet size: 2130706432\n",
                           "<-- Invalid QV request received\n"}) {
    EXPECT_TRUE(Holds(agent.VerboseLog(), line)) << line;
  }
}

TEST(RequestRoad, APacketMayArriveInPieces) {
  AgentProcess agent;
  const std::string packet = Packet("GetInfo\r");
  const Connection connection(agent.Port());
  const int on = 1;
  setsockopt(connection.Fd(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
  for (const char byte : packet) {
    ASSERT_TRUE(connection.Send(std::string_view(&byte, 1)));
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(connection.ReceiveReply().value_or("").substr(0, 4), "200\n");
}

TEST(RequestRoad, LogLinesOfOneRequest) {
  AgentProcess agent(Options{.switches = {"-i", "-v"}});
  ASSERT_TRUE(agent.Answers());
  EXPECT_EQ(agent.Ask("TEST-TCP\nh\nhttp\n0\n\n1\n"), "Wrong parameter\n");
  EXPECT_EQ(agent.Ask("TEST-Pong\n"), "500\n");
  ASSERT_TRUE(Eventually([&] {
    const std::string log = agent.VerboseLog();
    return log.find("Session closed, wait for next ..\n", log.find("(500)")) != std::string::npos;
  }));
  EXPECT_NE(agent.OkLog().find("]\t 127.0.0.1\t TCP connection accepted\n"), std::string::npos);
  const std::string verbose = agent.VerboseLog();
  for (const char* line :
       {"]\t zem\t\t Listening...\n", "]\t 127.0.0.1\t <-- Correct QV request received\n",
        "]\t 127.0.0.1\t --> request processed (200)\n",
        "]\t 127.0.0.1\t --> request processed (Wro)\n",
        "]\t 127.0.0.1\t --> request rejected or operation failed (500)\n",
        "]\t zem\t\t Session closed, wait for next ..\n"}) {
    EXPECT_NE(verbose.find(line), std::string::npos) << line;
    EXPECT_NE(agent.Console().find(line), std::string::npos) << line;
  }
  EXPECT_EQ(agent.Console().find("<-- TCP packet size"), std::string::npos);
}

}  // namespace
}  // namespace zem::test
