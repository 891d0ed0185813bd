// SPDX-License-Identifier: BSD-2-Clause
// The command line, the console and the exit statuses, from the outside.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <iterator>
#include <sstream>
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
  const auto expect = [](const std::string& text, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
      std::istringstream words(line);
      const Ended ended = RunToEnd({std::istream_iterator<std::string>(words), {}});
      EXPECT_EQ(ended.status, 1);
      EXPECT_EQ(ended.console, kBanner + text + kUsage) << line;
    }
  };
  expect("Error\nInvalid or missed command line parameter\n\n",
         {"", "-i", "-d", "-i -v", "-v -vd", "-i -v -vd", "-p", "-p 1055"});
  expect("Error\nInvalid port number\n\n",
         {"-p 0 x", "-p abc x", "-p 65536 x", "-p -1 x", "-p 4294967297 x"});
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

// One line that is missing stands for all: the loader's own tests have the others.
TEST(StartUp, AConfigurationThatCannotServe) {
  const TempDir dir;
  WriteFile(dir / "bad.cfg", "port=1\npassword=x\nzempath=zem\n");
  const Ended ended = RunToEnd({"-i", dir / "bad.cfg"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.console, CannotLoad("FilterMarks has less items than FilterList"
                                      "  Full path to the agent is not specified!\n",
                                      dir / "bad.cfg"));
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
