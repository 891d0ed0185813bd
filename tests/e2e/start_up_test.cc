// SPDX-License-Identifier: BSD-2-Clause
// The command line, the console and the exit statuses, from the outside.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "e2e/agent_process.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;

const std::string kBanner =
    "-------------------------------------------------------------\n"
    " Application:  ZEM (Zem Agent for Quorvel)\n"
    " Version:      1.32 for FreeBSD\n"
    " Developer:    Ovrant\n"
    " Web site:     https://ovrant.example/\n"
    " E-mail:       support@ovrant.example\n"
    "-------------------------------------------------------------\n"
    "Command line checking .. ";

const std::string kUsage =
    " Usage: zem [-d|-i] [-v|-vd] [-p <port>] <cfg_file>\n"
    "  -d        - daemon mode (default)\n"
    "  -i        - interactive mode\n"
    "  -v        - verbose mode\n"
    "  -vd       - verbose debugging mode\n"
    "  -p <port> - overrides TCP port number specified in cfg_file\n"
    "  cfg_file  - obligatory parameter, path to configuration file\n"
    "\n"
    " Examples:\n"
    "  zem -i -v -p 1055 /etc/zem/zem.cfg\n"
    "  zem -d ~/zem/zem.cfg\n"
    "\n";

std::string CannotLoad(const std::string& text, const std::string& path) {
  return kBanner + "Ok\nSettings checking .. Error\n" + text + "\nPlease check '" + path +
         "' file\n\n";
}

TEST(StartUp, CommandLinesThatAreRefused) {
  const std::string missing = "Error\nInvalid or missed command line parameter\n\n";
  const std::string bad_port = "Error\nInvalid port number\n\n";
  struct Case {
    std::vector<std::string> arguments;
    std::string text;
  };
  const Case cases[] = {
      {{}, missing},
      {{"-i"}, missing},
      {{"-d"}, missing},
      {{"-i", "-v"}, missing},
      {{"-v", "-vd"}, missing},
      {{"-i", "-v", "-vd"}, missing},
      {{"-p"}, missing},
      {{"-p", "1055"}, missing},
      {{"-p", "0", "x"}, bad_port},
      {{"-p", "abc", "x"}, bad_port},
      {{"-p", "65536", "x"}, bad_port},
      {{"-p", "-1", "x"}, bad_port},
      {{"-p", "4294967297", "x"}, bad_port},
  };
  for (const Case& c : cases) {
    const Ended ended = RunToEnd(c.arguments);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.console, kBanner + c.text + kUsage);
  }
}

TEST(StartUp, WhatStandsInTheWrongPlaceIsTheConfiguration) {
  struct Case {
    std::vector<std::string> arguments;
    std::string path;
  };
  const std::string long_path(600, 'p');
  const Case cases[] = {
      {{"-v", "-i", "file"}, "-i"},   {{"-vd", "-v", "file"}, "-v"},
      {{"-i", "-d", "file"}, "-d"},   {{"-p", "65535", "-i"}, "-i"},
      {{"nofile", "more"}, "nofile"}, {{long_path}, std::string(511, 'p')},
  };
  for (const Case& c : cases) {
    const Ended ended = RunToEnd(c.arguments);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.console, CannotLoad("Cannot open configuration file '" + c.path + "'", c.path));
  }
}

TEST(StartUp, AConfigurationThatCannotServe) {
  const TempDir dir;
  const std::string path = dir / "bad.cfg";
  const struct {
    const char* text;
    const char* error;
  } cases[] = {
      {"filtermarks=\n",
       "  TCP post is not specified!\n  Password is not specified!\n"
       "  Full path to the agent is not specified!\n"},
      {"",
       "FilterMarks has less items than FilterList  TCP post is not specified!\n"
       "  Password is not specified!\n  Full path to the agent is not specified!\n"},
      {"port=1\npassword=x\nzempath=zem\nfiltermarks=\n",
       "  Full path to the agent is not specified!\n"},
      {"port=1\npassword=x\nzempath=/no/such\nfiltermarks=\n", "  Invalid path to the agent!\n"},
  };
  for (const auto& c : cases) {
    WriteFile(path, c.text);
    const Ended ended = RunToEnd({"-i", path});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.console, CannotLoad(c.error, path));
  }
}

TEST(StartUp, AGoodStartOnTheConsole) {
  AgentProcess agent;
  const std::string expected = kBanner +
                               "Ok\nSettings checking .. Ok\nCPU testing .. Ok\n"
                               "Basic encyption checking .. Ok\nZEM encyption checking .. Ok\n"
                               "Sock testing .. Ok\n[zem][";
  EXPECT_EQ(agent.Console().substr(0, expected.size()), expected);
  EXPECT_NE(agent.Console().find("]\t zem\t\t Listening...\n"), std::string::npos);
  EXPECT_FALSE(FileExists(agent.Dir() / "zem.pid")) << "interactive mode writes no pid file";
}

TEST(StartUp, DebuggingModeAndTheWarningOfTheCrossedFilter) {
  AgentProcess agent(
      Options{.switches = {"-i", "-vd"}, .config = "filtermarks=127.0.0.1\nfilterlist=1\n"});
  const std::string expected =
      kBanner +
      "Ok\nSettings checking .. Warning: FilterMarks has less items than FilterList\n"
      "CPU testing .. Ok\nstat.size: 8\nsrec.size: 8\nfile.size: 8\nint64 = double\n"
      "Basic encyption checking .. Ok\n";
  EXPECT_EQ(agent.Console().substr(0, expected.size()), expected);
}

TEST(StartUp, ThePortOfTheCommandLineWins) {
  const int port = FreePort();
  AgentProcess agent(
      Options{.switches = {"-i", "-p", std::to_string(port)}, .wait_until_listening = false});
  agent.UsePort(port);
  EXPECT_TRUE(Eventually([&] { return agent.Answers(); }));
}

TEST(StartUp, APortInUseEndsWithStatusFour) {
  AgentProcess first;
  const TempDir dir;
  const std::string path = dir / "second.cfg";
  WriteFile(path, ReadFile(first.ConfigPath()));
  const Ended ended = RunToEnd({"-i", path});
  EXPECT_EQ(ended.status, 4);
  EXPECT_NE(ended.console.find("Sock testing .. TCP listen error:\nsocket() or bind() error\n\n"),
            std::string::npos)
      << ended.console;
  EXPECT_TRUE(first.Answers());
}

TEST(StartUp, ADaemonDetachesLocksItsPidFileAndKeepsItFromASecond) {
  AgentProcess agent(Options{.switches = {"-d"}});
  EXPECT_EQ(agent.WaitForExit(), 0);
  EXPECT_EQ(agent.Console().substr(agent.Console().size() - 15), "Daemon started\n");
  ASSERT_TRUE(Eventually([&] { return agent.Pid() > 0; }));
  EXPECT_EQ(getsid(agent.Pid()), agent.Pid());
  const pid_t first = agent.Pid();

  // A second agent with the same pid file runs on without one.
  const std::string second_config = agent.Dir() / "second.cfg";
  const int port = FreePort();
  WriteFile(second_config, ReadFile(agent.ConfigPath()) + "badlogfile=second.log\n");
  EXPECT_EQ(RunToEnd({"-d", "-p", std::to_string(port), second_config}).status, 0);
  ASSERT_TRUE(Eventually([&] { return Ask(port, "GetInfo").has_value(); }));
  EXPECT_NE(ReadFile(agent.Dir() / "second.log").find("Failed to lock pid file "),
            std::string::npos);
  EXPECT_EQ(ReadFile(agent.Dir() / "zem.pid"), std::to_string(first) + "\n");
  EXPECT_EQ(Ask(port, "QUIT\n"), "200\nOk\n");
  EXPECT_TRUE(Eventually([&] { return !Connection(port).IsOpen(); }));
  EXPECT_TRUE(FileExists(agent.Dir() / "zem.pid")) << "it was not the second one's to remove";

  EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
  EXPECT_TRUE(Eventually([&] { return !FileExists(agent.Dir() / "zem.pid"); }));
  EXPECT_TRUE(Eventually([&] { return kill(first, 0) != 0; }));
}

TEST(StartUp, APidFileThatCannotBeWrittenIsLoggedAndTolerated) {
  AgentProcess agent(Options{.switches = {"-d"}, .config = "pidfile=/no/such/zem.pid\n"});
  EXPECT_TRUE(agent.Answers());
  EXPECT_NE(agent.BadLog().find("Failed to create pid file /no/such/zem.pid\n"), std::string::npos);
  EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
}

// Its lock, not its text, is what keeps a second agent from it.
TEST(StartUp, APidFileOnAFullDiskIsKeptAndLocked) {
  AgentProcess agent(Options{.switches = {"-d"}, .before_exec = [] {
                               const rlimit nothing = {};
                               signal(SIGXFSZ, SIG_IGN);
                               setrlimit(RLIMIT_FSIZE, &nothing);
                             }});
  const int fd = open((agent.Dir() / "zem.pid").c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_GE(fd, 0);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  EXPECT_EQ(fcntl(fd, F_GETLK, &lock), 0);
  EXPECT_EQ(lock.l_type, F_WRLCK) << "nobody holds it";
  close(fd);
  EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
  EXPECT_TRUE(Eventually([&] { return !FileExists(agent.Dir() / "zem.pid"); }));
}

TEST(StartUp, ClosedStandardDescriptorsAreNoTrap) {
  AgentProcess agent(Options{.before_exec = [] {
    for (int fd = 0; fd <= 2; ++fd) close(fd);
  }});
  EXPECT_TRUE(agent.Answers());
  EXPECT_TRUE(agent.Console().empty());
}

}  // namespace
}  // namespace zem::test
