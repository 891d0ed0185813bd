// SPDX-License-Identifier: BSD-2-Clause
// A thread that faults for real: the agent is back within seconds, whatever the thread held.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <syslog.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include "e2e/agent_process.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// An agent whose sessions fault when the test says so.
class Crash : public testing::Test {
 protected:
  void Start(const std::string& mode) {
    agent_.emplace(Options{
        .switches = {mode, "-v"},
        .environment = {"LD_PRELOAD=" ZEM_FAULT_PRELOAD, "ZEM_FAULT_FILE=" + (dir_ / "fault")}});
    ASSERT_TRUE(agent_->Answers());
    ASSERT_TRUE(Eventually([&] { return agent_->Pid() > 0; }));
  }

  // Makes the thread of the next request fault; true when a new life answers soon enough.
  bool ComesBackFrom(const std::string& fault, std::chrono::seconds limit) {
    agent_->WriteConfig("comment=after " + fault + "\n");
    WriteFile(dir_ / "fault", fault);
    const auto begin = Clock::now();
    EXPECT_FALSE(agent_->Ask("GetInfo")) << "the thread that faulted answers nobody";
    EXPECT_FALSE(FileExists(dir_ / "fault"));
    const bool back = Eventually([&] {
      return Holds(agent_->Ask("GetInfo").value_or(""), "Comment=after " + fault + "\n");
    });
    EXPECT_LT(Clock::now() - begin, limit);
    return back;
  }

  TempDir dir_;
  std::optional<AgentProcess> agent_;
};

TEST_F(Crash, AFaultRestartsWhateverTheThreadHeld) {
  const struct {
    const char *mode, *fault;
    std::chrono::seconds limit;
  } cases[] = {
      {"-i", "plain", 5s}, {"-d", "plain", 5s}, {"-i", "stack", 5s},
      {"-d", "log", 12s},  {"-i", "file", 6s},   // a stream costs no last resort
      {"-i", "main", 12s}, {"-i", "send", 10s},  // a reply that never ends holds nobody back for
                                                 // long
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.mode) + " " + c.fault);
    Start(c.mode);
    EXPECT_TRUE(ComesBackFrom(c.fault, c.limit));
    const std::string fault = c.fault;
    const std::string log = agent_->BadLog();
    if (fault == "plain" || fault == "stack") {
      EXPECT_TRUE(Holds(log, "]\t zem\t\t Segmentation fault!!\n"));
      EXPECT_TRUE(Holds(log, "]\t zem\t\t Restarting..\n"));
    }
    EXPECT_FALSE(fault == "log" && Holds(log, "Segmentation fault!!\n")) << "nobody could log it";
    EXPECT_EQ(agent_->Ask("QUIT\n"), "200\nOk\n");
    EXPECT_TRUE(Eventually([&] { return !FileExists(agent_->Dir() / "zem.pid"); }));
  }
}

// Nothing is left that could serve: a process that only hangs would look alive to its keeper.
TEST_F(Crash, WithoutAProgramToExecuteTheFaultEndsTheProcess) {
  Start("-i");
  agent_->WriteConfig("zempath=/no/such/program\n");
  EXPECT_TRUE(Holds(agent_->Ask("ReloadCfg\n").value_or(""), "Invalid path to the agent!\n"));
  ASSERT_TRUE(agent_->Answers());
  WriteFile(dir_ / "fault", "log");
  EXPECT_FALSE(agent_->Ask("GetInfo"));
  EXPECT_TRUE(Eventually([&] { return agent_->HasExited(); }));
  EXPECT_EQ(agent_->WaitForExit(), -1) << "by the signal of the fault";
}

// The main thread may wait longer in good order than a crash takes to be told.
TEST_F(Crash, WhileAPortIsOpenedIsServedBehindIt) {
  Start("-i");
  const int port = FreePort();
  WriteFile(dir_ / "fault", "port");
  EXPECT_EQ(agent_->Ask("SetSettings\nPort=" + std::to_string(port) + "\n"), "200\n");
  ASSERT_TRUE(Eventually([&] { return !FileExists(dir_ / "fault"); }));
  agent_->Signal(SIGSEGV);
  agent_->UsePort(port);
  EXPECT_TRUE(Eventually([&] { return agent_->Answers(); }));
  EXPECT_TRUE(Holds(agent_->BadLog(), "]\t zem\t\t Segmentation fault!!\n"));
}

using HangUp = Crash;

TEST_F(HangUp, AmidARestartThatFailsReloads) {
  Start("-d");
  const pid_t pid = agent_->Pid();
  agent_->WriteConfig("badlogfile=second.log\n");
  WriteFile(dir_ / "fault", "exec");
  EXPECT_EQ(agent_->Ask("ReloadApp\n"), "200\nOk\n");
  ASSERT_TRUE(
      Eventually([&] { return Holds(agent_->BadLog(), "Error: cannot start new instance\n"); }));
  std::this_thread::sleep_for(500ms);  // nothing tells from outside that it has reloaded
  EXPECT_EQ(kill(pid, SIGSEGV), 0) << "the hang-up ended it";
  EXPECT_TRUE(Eventually([&] { return agent_->Answers(); }));
  EXPECT_TRUE(Holds(ReadFile(agent_->Dir() / "second.log"), "Segmentation fault!!\n"));
}

// A save on a slow disk, whose last call is interrupted as well.
TEST_F(HangUp, AmidASlowSaveKeepsNobodyWaitingAndIsServedBehindIt) {
  Start("-d");
  WriteFile(dir_ / "fault", "save");
  const Connection saver(agent_->Port());
  ASSERT_TRUE(saver.Send(
      Packet("SetSettings\nIPFiltering=1\nIPFilterMarks=1\nIPFilterAddr=127.0.0.7\n\r")));
  ASSERT_TRUE(Eventually([&] { return !FileExists(dir_ / "fault"); }));
  agent_->Signal(SIGHUP);
  EXPECT_TRUE(agent_->Answers());
  EXPECT_TRUE(agent_->Answers());
  pollfd reply = {saver.Fd(), POLLIN, 0};
  EXPECT_EQ(poll(&reply, 1, 0), 0) << "the others were answered first";
  EXPECT_EQ(saver.ReceiveReply(), "200\n");
  // Only a load puts the new filter in force.
  EXPECT_TRUE(Eventually([&] { return !agent_->Answers(); }));
}

// A call that fails once, beside a session that never ends: the agent must not wait for its close.
using Shortage = Crash;

TEST_F(Shortage, IsWaitedOutWhoeverStays) {
  Start("-i");
  agent_->WriteConfig("timeout=-1\n");
  ASSERT_EQ(agent_->Ask("ReloadCfg\n"), "200\nOk\n");
  const Connection slow(agent_->Port());
  ASSERT_TRUE(slow.Send(Packet("GetInfo\r").substr(0, 30)));  // the password is in it
  ASSERT_TRUE(agent_->Answers());
  std::this_thread::sleep_for(200ms);  // that one's close is no help
  WriteFile(dir_ / "fault", "shortage");
  EXPECT_TRUE(agent_->Answers());
  EXPECT_FALSE(FileExists(dir_ / "fault"));
  EXPECT_FALSE(slow.ClosesWithin(2500)) << "a negative time-out is none";
}

// Whoever watches the host's logins sees it, by a whole packet and by a torn one, once a minute.
TEST(WrongPassword, IsToldToTheSyslog) {
  if (LacksLoopbackNet()) GTEST_SKIP() << LacksLoopbackNet();
  const TempDir dir;
  AgentProcess agent(Options{
      .environment = {"LD_PRELOAD=" ZEM_FAULT_PRELOAD, "ZEM_SYSLOG_FILE=" + (dir / "syslog")}});
  const std::string wrong = Packet("GetInfo\r", "no");
  const struct {
    const char* source;
    std::string bytes;
  } guesses[] = {{"127.0.0.2", wrong}, {"127.0.0.2", wrong}, {"127.0.0.3", wrong.substr(0, 40)}};
  for (const auto& guess : guesses) {
    const Connection stranger(agent.Port(), guess.source);
    ASSERT_TRUE(stranger.Send(guess.bytes));
    EXPECT_TRUE(stranger.ClosesWithin(30'000));
  }
  const std::string prefix = "zem " + std::to_string(LOG_AUTHPRIV | LOG_NOTICE);
  const std::string expected =
      prefix + " wrong password from 127.0.0.2\n" + prefix + " wrong password from 127.0.0.3\n";
  EXPECT_TRUE(Eventually([&] { return ReadFile(dir / "syslog") == expected; }))
      << ReadFile(dir / "syslog");
}

// The administrator or a time service sets the clock by a day, back and forward.
TEST(WrongClock, KeepsNobodyAndDropsNobodyTooSoon) {
  const TempDir dir;
  AgentProcess agent(Options{
      .config = "timeout=3000\n",
      .environment = {"LD_PRELOAD=" ZEM_FAULT_PRELOAD, "ZEM_CLOCK_FILE=" + (dir / "clock")}});
  for (const char* error : {"-86400", "86400"}) {
    SCOPED_TRACE(error);
    const Connection silent(agent.Port());
    ASSERT_TRUE(agent.Answers());
    WriteFile(dir / "clock", error);
    EXPECT_FALSE(silent.ClosesWithin(2950));
    EXPECT_TRUE(silent.ClosesWithin(8000));
    EXPECT_TRUE(agent.Answers());
  }
  agent.WriteConfig("comment=after the crash\n");
  agent.Signal(SIGSEGV);
  EXPECT_TRUE(Eventually(
      [&] { return Holds(agent.Ask("GetInfo").value_or(""), "Comment=after the crash\n"); }));
}

}  // namespace
}  // namespace zem::test
