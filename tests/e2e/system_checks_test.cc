// SPDX-License-Identifier: BSD-2-Clause
// What programs that the agent starts inherit and leave behind.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "e2e/agent_process.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;

// What a child is born with: three streams, and the signals and limits of the agent's own start.
TEST(SystemChecks, ChildrenInheritNothingOfTheAgents) {
  if (LacksProc()) GTEST_SKIP() << LacksProc();
  const rlimit given = {777, 4000};
  const AgentProcess agent(Options{.config = "delayforscripts=0\n", .before_exec = [&] {
                                     for (int fd = 3; fd < 1024; ++fd) close(fd);
                                     sigset_t none;
                                     sigemptyset(&none);
                                     sigprocmask(SIG_SETMASK, &none, nullptr);
                                     setrlimit(RLIMIT_NOFILE, &given);
                                   }});
  std::vector<Connection> others;
  for (int i = 0; i < 20; ++i) others.emplace_back(agent.Port());
  const auto ask = [&](const std::string& script) {
    return agent.Ask("TEST-ShellScript\nsh %script% -\n" + script + "\n\n9\n9\n").value_or("");
  };
  // Number 3 is the one with which `ls` reads the folder.
  EXPECT_EQ(agent.Ask("TEST-ShellScript\nls /proc/self/fd\n\n\n9\n9\n"),
            "200\n3\n0%0D%0A1%0D%0A2%0D%0A3%0D%0A\n");
  EXPECT_EQ(ask("ulimit -Sn"), "200\n777\n777%0D%0A\n");
  // Not from a shell either: some empty the mask themselves.
  EXPECT_EQ(agent.Ask("TEST-ShellScript\ngrep SigBlk /proc/self/status\n\n\n9\n9\n"),
            "200\nSigBlk:\t0000000000000000\nSigBlk:\t0000000000000000%0D%0A\n");
  EXPECT_EQ(ask("kill -PIPE $$; sleep 5"), "301\nScript execution error: abnormal termination\n");
  EXPECT_EQ(ask("echo $TMPDIR").substr(0, 4 + agent.TempPath().size()), "200\n" + agent.TempPath());
}

// No further program is started that could look for it.
TEST(SystemChecks, AProgramThatIsNotWaitedForIsNoZombieForLong) {
  if (LacksProc()) GTEST_SKIP() << LacksProc();
  const AgentProcess agent;
  EXPECT_EQ(agent.Ask("TEST-ExternalPrg\nsleep 1.5\n\n\n-1\n"), "200\n0\n");
  EXPECT_EQ(agent.Children().size(), 1u);
  EXPECT_TRUE(Eventually([&] { return agent.Children().empty(); }));
}

TEST(SystemChecks, ARestartRemovesTheFilesOfThoseItCutsOff) {
  for (const char* end : {"ReloadApp\n", "QUIT\n"}) {
    SCOPED_TRACE(end);
    const TempDir dir;
    const AgentProcess agent(Options{.config = "delayforscripts=0\n"});
    const std::string script = "echo $$ >" + (dir / "pid") + "%0Aexec sleep 300";
    const Connection cut_off(agent.Port());
    ASSERT_TRUE(
        cut_off.Send(Packet("TEST-ShellScript\nsh %script% -\n" + script + "\n\n0\n0\n\r")));
    ASSERT_TRUE(Eventually([&] { return !ReadFile(dir / "pid").empty(); }));
    EXPECT_EQ(ListDir(agent.TempPath()).size(), 2U);
    EXPECT_EQ(agent.Ask(end), "200\nOk\n");
    EXPECT_TRUE(cut_off.ClosesWithin(30'000));
    EXPECT_EQ(ListDir(agent.TempPath()), std::vector<std::string>());
    EXPECT_EQ(kill(atoi(ReadFile(dir / "pid").c_str()), SIGKILL), 0);
  }
}

}  // namespace
}  // namespace zem::test
