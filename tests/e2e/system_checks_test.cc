// SPDX-License-Identifier: BSD-2-Clause
// Programs, scripts and probes, asked for over the wire.
#include <gtest/gtest.h>
#include <netdb.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "checks/system/loopback.h"
#include "e2e/agent_process.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;

constexpr const char* kNoFile = "No such file or directory";

// Scripts of an administrator, in a folder of their own.
struct Scripts {
  Scripts() {
    Write("count", "echo $#$1\n");
    Write("list", "printf 'init\\nsshd\\n'\n");
    Write("cpu", "echo 12.5\n");
  }
  void Write(const std::string& name, const std::string& body) const {
    WriteFile(dir / name, "#!/bin/sh\n" + body);
    chmod((dir / name).c_str(), 0755);
  }
  std::string Config() const {
    return "delayforscripts=0\nproccntscript=" + (dir / "count") +
           "\nproclistscript=" + (dir / "list") + "\ncpuusagescript=" + (dir / "cpu") + "\n";
  }
  const TempDir dir;
};

void ExpectNothingLeft(const AgentProcess& agent) {
  EXPECT_EQ(ListDir(agent.TempPath()), std::vector<std::string>());
  EXPECT_EQ(agent.Children(), std::vector<pid_t>());
}

TEST(SystemChecks, AnswerEachRequest) {
  const Scripts scripts;
  const AgentProcess agent(Options{.config = scripts.Config()});
  const Bound closed(SOCK_DGRAM);
  const std::string udp_port = closed.PortText();
  const struct {
    std::string request;
    std::string reply;
  } cases[] = {
      {"TEST-Process\n\ninit\n", "200\n1\n"},
      {"TEST-Process\n\na b\n", "200\n2\n"},
      {"TEST-Process\n\n", "501\nName of the process is not specified\n"},
      {"TEST-Process\n\n(\n", "301\nCannot get script results\n"},
      {"TEST-CPU\n", "200\n12.5000\n"},
      {"GetProcessesList\n", "200\ninit%0D%0Asshd%0D%0Asshd%0D%0A\n"},
      {"TEST-ExternalPrg\n/bin/sh -c 'exit 3'\n\n\n0\n", "200\n3\n"},
      {"TEST-ExternalPrg\n/no/such/program\n\n\n0\n",
       std::string("301\nexec error: ") + kNoFile + "\n"},
      {"TEST-ExternalPrg\nsleep 60\n\n\n-1000\n", "301\nabnormal termination\n"},
      {"TEST-ExternalPrg\ntrue\n\n\nx\n", "501\nWrong parameter\n"},
      {"TEST-ExternalPrg\n\n\n\n0\n", "501\n"},
      {"TEST-ShellScript\nsh %script% %params%\necho $*%0D%0Aecho ScriptRes: 7%0A\na b\n5\n1\n",
       "200\nScriptRes: 7\na b%0D%0A\n"},
      {"TEST-ShellScript\n%script%\necho never\n\n5\n0\n",
       std::string("301\nScript execution error: exec error: ") + kNoFile + "\n"},
      {"TEST-TCP\n\n1\n1\n\n1\n", "301\nCannot resolve server name to IP address\n-2\n"},
      {"TEST-TCP\n127.0.0.1\n1\n-1\n\n1\n", "301\nInvalid argument\n-6\n"},
      {"TEST-TCP\n127.0.0.1\nhttp\n1\n\n1\n", "Wrong parameter\n"},
      {"TEST-UDP\n127.0.0.1\n" + udp_port + "\n500\n1\nx\n9\n", "301\nTimeout\n0\n"},
      {"TEST-UDP\n127.0.0.1\n" + udp_port + "\n500\n0\nx\n9\n", "Wrong parameter\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(agent.Ask(c.request), c.reply) << c.request;
  ExpectNothingLeft(agent);
}

TEST(SystemChecks, TellMissingScriptsAndClosedGates) {
  const AgentProcess missing(
      Options{.config = "proccntscript=/no/such\nproclistscript=/tmp\nudp=0\ntcp=0\n"});
  const AgentProcess off(
      Options{.config = "process=0\ncpuusage=0\nexternal=0\nshellscript=0\nudp=0\ntcp=0\n"});
  EXPECT_EQ(missing.Ask("TEST-Process\n\nx\n"), "301\nProcCnt script doesn't exist\n");
  EXPECT_EQ(missing.Ask("GetProcessesList\n"), "301\nProcList script doesn't exist\n");
  EXPECT_EQ(missing.Ask("TEST-CPU\n"), "301\nCPUUsage script is not speified\n");
  EXPECT_EQ(off.Ask("GetProcessesList\n"), "600\ntest is not allowed\n");
  for (const char* word : {"Process", "CPU", "ExternalPrg", "ShellScript", "TCP", "UDP"}) {
    EXPECT_EQ(off.Ask("TEST-" + std::string(word) + "\n"), "600\ntest is not allowed\n") << word;
  }
}

// A reply without its second line, the time.
std::string WithoutTime(const std::optional<std::string>& reply) {
  const size_t first = reply.value_or("").find('\n');
  if (first == std::string::npos) return "(none)";
  const size_t second = reply->find_first_not_of("0123456789", first + 1);
  return second == std::string::npos ? "(none)" : reply->substr(0, first) + reply->substr(second);
}

TEST(SystemChecks, ProbeRealServers) {
  using namespace std::string_literals;
  const AgentProcess agent;
  const TcpServer banner([](int peer) { send(peer, "220\r\n\0\xff", 7, 0); });
  // A bare system has no list of hosts, and then not even this name.
  const std::string host = gethostbyname("localhost") != nullptr ? "localhost" : "127.0.0.1";
  EXPECT_EQ(WithoutTime(agent.Ask("TEST-TCP\n" + host + "\n" + banner.Port() + "\n0\n\n8192\n")),
            "200\n220%0D%0A\0\xff\n"s);
  const UdpServer echo(1, [](const std::string& text) { return text + "!"; });
  EXPECT_EQ(WithoutTime(agent.Ask("TEST-UDP\n127.0.0.1\n" + echo.Port() + "\n0\n3\nping\n100\n")),
            "200\nping!\n");
}

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
  EXPECT_EQ(ask("grep SigBlk /proc/self/status"),
            "200\nSigBlk:\t0000000000000000\nSigBlk:\t0000000000000000%0D%0A\n");
  EXPECT_EQ(ask("kill -PIPE $$; sleep 5"), "301\nScript execution error: abnormal termination\n");
  EXPECT_EQ(ask("echo $TMPDIR").substr(0, 4 + agent.TempPath().size()), "200\n" + agent.TempPath());
}

TEST(SystemChecks, SixtyFourProgramsAtOnce) {
  const Scripts scripts;
  const AgentProcess agent(Options{.config = scripts.Config()});
  const size_t descriptors = agent.OpenDescriptors();
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 64; ++i) {
    threads.emplace_back([&, i] {
      const std::string own = std::to_string(i);
      const auto run = agent.Ask("TEST-ExternalPrg\nsh -c 'exit " + own + "'\n\n\n20000\n");
      const auto count = agent.Ask("TEST-Process\n\n" + own + "\n");
      const auto script =
          agent.Ask("TEST-ShellScript\n%script% -\n#!/bin/sh%0Aecho " + own + "\n\n20\n0\n");
      if (run == "200\n" + own + "\n" && count == "200\n1" + own + "\n" &&
          script == "200\n" + own + "\n\n") {
        ++good;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good.load(), 64);
  ExpectNothingLeft(agent);
  EXPECT_TRUE(Eventually([&] { return agent.OpenDescriptors() <= descriptors; }));
}

TEST(SystemChecks, AProgramLeftRunningKeepsNoPortFromTheNextAgent) {
  for (const char* mode : {"-i", "-d"}) {
    SCOPED_TRACE(mode);
    const TempDir dir;
    const std::string command = "sh -c 'echo $$ >" + (dir / "pid") + "; exec sleep 300'";
    AgentProcess agent(Options{.switches = {mode}});
    EXPECT_EQ(agent.Ask("TEST-ExternalPrg\n" + command + "\n\n\n-1\n"), "200\n0\n");
    const pid_t left = atoi(ReadFile(dir / "pid").c_str());
    ASSERT_GT(left, 0);

    agent.WriteConfig("comment=second life\n");
    EXPECT_EQ(agent.Ask("ReloadApp\n"), "200\nOk\n");
    EXPECT_TRUE(Eventually([&] {
      return agent.Ask("GetInfo").value_or("").find("second life") != std::string::npos;
    }));
    EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
    // Nobody has the port now, although the program runs on.
    ASSERT_TRUE(Eventually([&] { return !Connection(agent.Port()).IsOpen(); }));
    EXPECT_TRUE(Eventually([&] {
      const Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
      const int on = 1;
      setsockopt(socket.Fd(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
      const sockaddr_in address = LoopbackAddress(agent.Port());
      return bind(socket.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
             listen(socket.Fd(), 1) == 0;
    }));
    EXPECT_EQ(kill(left, SIGKILL), 0);
  }
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

TEST(SystemChecks, ATimeOutEndsTheWholeFamily) {
  if (LacksProc()) GTEST_SKIP() << LacksProc();
  const TempDir dir;
  const AgentProcess agent(Options{.config = "delayforscripts=0\n"});
  const std::string family = "sleep 300 & echo $! >" + (dir / "pid") + "%0Await";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(agent.Ask("TEST-ShellScript\nsh %script% -\n" + family + "\n\n1\n0\n"),
            "301\nScript execution error: abnormal termination\n");
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::seconds(2));
  EXPECT_LT(took, std::chrono::seconds(4));
  const int grandchild = atoi(ReadFile(dir / "pid").c_str());
  ASSERT_GT(grandchild, 0);
  EXPECT_TRUE(Eventually([&] {
    const std::string stat = ReadFile("/proc/" + std::to_string(grandchild) + "/stat");
    return stat.empty() || stat.find(") Z ") != std::string::npos;
  }));
  ExpectNothingLeft(agent);
}

}  // namespace
}  // namespace zem::test
