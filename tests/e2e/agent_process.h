// SPDX-License-Identifier: BSD-2-Clause
// The real agent, running as a child of the test in a folder of its own.

#ifndef ZEM_TESTS_E2E_AGENT_PROCESS_H_
#define ZEM_TESTS_E2E_AGENT_PROCESS_H_

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "e2e/wire_client.h"
#include "temp_dir.h"

namespace zem::test {

// A port that was free a moment ago.
int FreePort();

// Waits for a condition, looking often; false after half a minute.
bool Eventually(const std::function<bool()>& condition);

// What not every system has: processes shown below /proc, and more addresses of its own than
// 127.0.0.1. Reasons for a test to skip itself, nullptr where there is none.
const char* LacksProc();
const char* LacksLoopbackNet();

std::string ProgramPath();
// The folder of the programs that the script keys name.
std::string HelpersPath();

struct Ended {
  int status = -1;      // exit status, or -1 when a signal ended the process
  std::string console;  // both output streams
};

// Runs the program to its end with these arguments, e.g. {"-i", "file"}.
Ended RunToEnd(const std::vector<std::string>& arguments);

class AgentProcess {
 public:
  struct Options {
    std::vector<std::string> switches = {"-i"};
    // Lines added to the configuration; a later key overrides an earlier one.
    std::string config = {};
    std::string zempath = {};  // default: the program itself
    bool wait_until_listening = true;
    std::vector<std::string> environment = {};  // NAME=value, added to the test's own
    // Runs in the child before the exec (limits, user).
    std::function<void()> before_exec = {};
  };

  AgentProcess() : AgentProcess(Options()) {}
  explicit AgentProcess(const Options& options);
  ~AgentProcess();
  AgentProcess(const AgentProcess&) = delete;
  AgentProcess& operator=(const AgentProcess&) = delete;

  int Port() const { return port_; }
  void UsePort(int port) { port_ = port; }
  const TempDir& Dir() const { return dir_; }
  std::string ConfigPath() const { return dir_ / "zem.cfg"; }
  std::string TempPath() const { return dir_ / "tmp"; }

  std::optional<std::string> Ask(std::string_view text) const { return test::Ask(port_, text); }
  // Answers at all: for waiting until it is back.
  bool Answers() const { return Ask("GetInfo").has_value(); }

  // The process that serves: from the pid file in daemon mode.
  pid_t Pid() const;
  void Signal(int number) const;
  // Exit status of the child once it has ended; -1 when a signal ended it or it did not end.
  int WaitForExit();
  bool HasExited();

  std::string Console() const { return ReadFile(dir_ / "console.txt"); }
  std::string OkLog() const { return ReadFile(dir_ / "ok.log"); }
  std::string BadLog() const { return ReadFile(dir_ / "bad.log"); }
  std::string VerboseLog() const { return ReadFile(dir_ / "verbose.log"); }
  void WriteConfig(const std::string& extra) const;

  // Open descriptors and direct children of the serving process, as /proc shows them.
  size_t OpenDescriptors() const;
  std::vector<pid_t> Children() const;
  long ResidentKilobytes() const;

 private:
  TempDir dir_;
  Options options_;
  int port_;
  pid_t child_ = -1;
  std::optional<int> exit_status_;
};

}  // namespace zem::test

#endif  // ZEM_TESTS_E2E_AGENT_PROCESS_H_
