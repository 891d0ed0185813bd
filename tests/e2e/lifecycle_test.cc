// SPDX-License-Identifier: BSD-2-Clause
// Stop, restart, reload, crash, port switch and the connection filter.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "e2e/agent_process.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;

std::string CommentOf(const AgentProcess& agent) {
  const std::string reply = agent.Ask("GetInfo").value_or("");
  const size_t start = reply.find("\nComment=");
  if (start == std::string::npos) return "(none)";
  return reply.substr(start + 9, reply.find('\n', start + 1) - start - 9);
}

TEST(Lifecycle, QuitEndsWithStatusZeroAfterItsAnswer) {
  AgentProcess agent(Options{.switches = {"-i", "-v"}});
  EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
  EXPECT_EQ(agent.WaitForExit(), 0);
  EXPECT_TRUE(Holds(agent.VerboseLog(), "]\t zem\t\t Terminate request received. Terminating..\n"));
}

TEST(Lifecycle, ReloadAppExecutesTheProgramInPlace) {
  for (const char* mode : {"-i", "-d"}) {
    SCOPED_TRACE(mode);
    AgentProcess agent(Options{.switches = {mode, "-v"}});
    ASSERT_TRUE(Eventually([&] { return agent.Pid() > 0; }));
    const pid_t before = agent.Pid();
    // Not from a shell: some empty the mask themselves.
    const std::string blocked =
        "TEST-ShellScript\npython3 -c \"import signal as s; print(s.pthread_sigmask(s.SIG_BLOCK, "
        "[]))\"\n\n\n20\n0\n";
    const std::string before_it = agent.Ask(blocked).value_or("");
    EXPECT_EQ(before_it.substr(0, 4), "200\n");
    agent.WriteConfig("comment=second life\n");
    EXPECT_EQ(agent.Ask("ReloadApp\n"), "200\nOk\n");
    ASSERT_TRUE(Eventually([&] { return CommentOf(agent) == "second life"; }));
    EXPECT_TRUE(Holds(agent.VerboseLog(), "Reload request received. Executing..\n"));
    EXPECT_EQ(agent.Ask(blocked), before_it) << "its programs are told of hang-ups as ever";
    ASSERT_TRUE(Eventually([&] { return agent.Pid() > 0; }));
    if (std::string(mode) == "-i") {
      EXPECT_EQ(agent.Pid(), before);
    } else {
      EXPECT_NE(agent.Pid(), before) << "a daemon forks again, and its pid file follows";
    }
    EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
  }
}

TEST(Lifecycle, AProgramThatCannotBeExecutedLeavesTheListenerClosed) {
  if (LacksProc()) GTEST_SKIP() << LacksProc();
  const TempDir dir;
  WriteFile(dir / "not-a-program", "");
  AgentProcess agent(Options{.zempath = dir / "not-a-program", .before_exec = [] {
                               const rlimit limit = {256, 2048};
                               setrlimit(RLIMIT_NOFILE, &limit);
                             }});
  const auto limit = [&] { return ReadFile("/proc/" + std::to_string(agent.Pid()) + "/limits"); };
  const std::string raised = limit();
  EXPECT_EQ(agent.Ask("ReloadApp\n"), "200\nOk\n");
  EXPECT_TRUE(
      Eventually([&] { return Holds(agent.BadLog(), "Error: cannot start new instance\n"); }));
  EXPECT_FALSE(Connection(agent.Port()).IsOpen());
  EXPECT_FALSE(agent.HasExited());
  EXPECT_EQ(limit(), raised) << "the program it failed to become would have started with less";
}

// Whoever is being answered at that moment gets the whole reply first, before a restart as well.
TEST(Lifecycle, WithoutAnyPortLeftItEndsWithStatusFour) {
  // More than hides in the buffers between the two, but for sanitizers, to which a text that grows
  // step by step is slow.
  constexpr size_t kLines = ZEM_SANITIZED ? 1000 : 400'000;
  constexpr size_t kReply = 4 + (kLines + 1) * 14 + 1;  // the last line comes twice, as ever
  const TempDir dir;
  WriteFile(dir / "list", "#!/bin/sh\nyes abcdefgh | head -n " + std::to_string(kLines) + "\n");
  chmod((dir / "list").c_str(), 0755);
  const std::string config = "timeout=20000\nproclistscript=" + (dir / "list") + "\n";
  AgentProcess agent(Options{.config = config + "host=127.0.0.1\n"});
  const auto ask_slowly = [&] {
    Connection slow(agent.Port());
    EXPECT_TRUE(slow.Send(Packet("GetProcessesList\n\r")));
    pollfd reply = {slow.Fd(), POLLIN, 0};
    EXPECT_EQ(poll(&reply, 1, 60'000), 1);
    return slow;
  };
  const Connection before = ask_slowly();
  EXPECT_EQ(agent.Ask("ReloadApp\n"), "200\nOk\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // it would be gone by then
  EXPECT_EQ(before.ReceiveReply().value_or("").size(), kReply);
  ASSERT_TRUE(Eventually([&] { return agent.Answers(); }));

  const Connection slow = ask_slowly();
  agent.WriteConfig(config + "host=192.0.2.1\n");
  EXPECT_EQ(agent.Ask("ReloadCfg\n"), "200\nOk\n");
  EXPECT_EQ(agent.Ask("SetSettings\nPort=" + std::to_string(FreePort()) + "\n"), "200\n");
  EXPECT_TRUE(Eventually(
      [&] { return Holds(agent.BadLog(), "Cannot open original port either. Terminating\n"); }));
  EXPECT_EQ(slow.ReceiveReply().value_or("").size(), kReply);
  EXPECT_EQ(agent.WaitForExit(), 4);
}

TEST(Lifecycle, HangUpReloadsADaemonAndKeepsItsPort) {
  AgentProcess agent(Options{.switches = {"-d"}});
  ASSERT_TRUE(Eventually([&] { return agent.Pid() > 0; }));
  agent.WriteConfig("comment=reloaded\nport=1\n");
  agent.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return CommentOf(agent) == "reloaded"; }));
  EXPECT_TRUE(Holds(agent.Ask("GetInfo").value_or(""), "Port=" + std::to_string(agent.Port())));
  EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
}

TEST(Lifecycle, HangUpEndsAnInteractiveAgent) {
  AgentProcess agent(Options{.switches = {"-i"}});
  ASSERT_TRUE(agent.Answers());
  agent.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return agent.HasExited(); }));
}

TEST(Lifecycle, ASentSegmentationFaultRestarts) {
  for (const char* mode : {"-i", "-d"}) {
    SCOPED_TRACE(mode);
    AgentProcess agent(Options{.switches = {mode}});
    ASSERT_TRUE(Eventually([&] { return agent.Pid() > 0; }));
    agent.WriteConfig("comment=after the crash\n");
    agent.Signal(SIGSEGV);
    ASSERT_TRUE(Eventually([&] { return CommentOf(agent) == "after the crash"; }));
    EXPECT_TRUE(Holds(agent.BadLog(), "]\t zem\t\t Segmentation fault!!\n"));
    EXPECT_TRUE(Holds(agent.BadLog(), "]\t zem\t\t Restarting..\n"));
    // Again, by its sibling: the handlers are there in the new life too.
    agent.WriteConfig("comment=after the second\n");
    ASSERT_TRUE(Eventually([&] { return agent.Pid() > 0; }));
    agent.Signal(SIGBUS);
    EXPECT_TRUE(Eventually([&] { return CommentOf(agent) == "after the second"; }));
    EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
  }
}

TEST(Lifecycle, ThePortIsSwitchedWhileItRuns) {
  AgentProcess agent;
  const int old_port = agent.Port();
  const int new_port = FreePort();
  EXPECT_EQ(agent.Ask("SetSettings\nPort=" + std::to_string(new_port) + "\n"), "200\n");
  agent.UsePort(new_port);
  ASSERT_TRUE(Eventually([&] { return agent.Answers(); }));
  EXPECT_FALSE(Connection(old_port).IsOpen());
  EXPECT_TRUE(Holds(agent.OkLog(), "]\t zem\t\t Server port switching .. Ok\n"));
}

TEST(Lifecycle, APortInUseSendsItBackToTheOldOne) {
  AgentProcess other;
  for (const std::string& port : {std::to_string(other.Port()), std::string("70000")}) {
    AgentProcess agent;
    EXPECT_EQ(agent.Ask("SetSettings\nPort=" + port + "\n"), "200\n");
    ASSERT_TRUE(Eventually([&] { return Holds(agent.BadLog(), "Return to original port\n"); }));
    EXPECT_TRUE(Holds(agent.BadLog(), "Error: cannot open new port for listening\n"));
    EXPECT_TRUE(Holds(agent.Ask("GetInfo").value_or(""), "Port=" + std::to_string(agent.Port())));
  }
}

TEST(Lifecycle, TheConnectionFilterIsLooseOnPurpose) {
  if (LacksLoopbackNet()) GTEST_SKIP() << LacksLoopbackNet();
  // The peer is 127.0.0.1: part of 127.0.0.15, and of nothing in the second list.
  AgentProcess admitted(
      Options{.config = "filteractive=1\nfiltermarks=01\nfilterlist=10.9.9.9 127.0.0.15\n"});
  EXPECT_TRUE(admitted.Answers());

  AgentProcess rejecting(Options{.config = "filteractive=1\nfiltermarks=10\n"
                                           "filterlist=127.0.0.7 127.0.0.1\n",
                                 .wait_until_listening = false});
  ASSERT_TRUE(Eventually([&] { return Connection(rejecting.Port(), "127.0.0.7").IsOpen(); }));
  const Connection rejected(rejecting.Port());
  EXPECT_TRUE(rejected.ClosesWithin(30'000));
  EXPECT_TRUE(Holds(rejecting.BadLog(), "]\t 127.0.0.1\t TCP connection rejected\n"));
  const Connection listed(rejecting.Port(), "127.0.0.7");
  ASSERT_TRUE(listed.Send(Packet("GetInfo\r")));
  EXPECT_TRUE(Holds(listed.ReceiveReply().value_or(""), "FailedConnections=1\n"));
}

}  // namespace
}  // namespace zem::test
