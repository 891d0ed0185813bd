// SPDX-License-Identifier: BSD-2-Clause
#include "e2e/agent_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

extern char** environ;  // not every system declares it

namespace zem::test {

namespace {

using namespace std::chrono_literals;

// Without /proc a count is 0 and keeps every bound: the test that asked is skipped, not passed.
void SkipWithoutProc() {
  if (LacksProc()) GTEST_SKIP() << LacksProc();
}

std::vector<char*> Pointers(std::vector<std::string>* texts) {
  std::vector<char*> pointers;
  for (std::string& text : *texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Everything is ready before the fork: the tests have threads.
pid_t Spawn(std::vector<std::string> arguments, const std::string& console,
            const AgentProcess::Options& options) {
  arguments.insert(arguments.begin(), ProgramPath());
  const std::vector<char*> argv = Pointers(&arguments);
  std::vector<std::string> environment = options.environment;
  for (char** entry = environ; *entry != nullptr; ++entry) environment.emplace_back(*entry);
  const std::vector<char*> envp = Pointers(&environment);
  const pid_t child = fork();
  if (child != 0) return child;
  const int out = open(console.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(out, STDOUT_FILENO);
  dup2(out, STDERR_FILENO);
  const int in = open("/dev/null", O_RDONLY);
  dup2(in, STDIN_FILENO);
  close(in);
  close(out);
  if (options.before_exec) options.before_exec();
  execve(argv[0], argv.data(), envp.data());
  _exit(127);
}

int ExitStatus(int wait_status) {
  return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
}

}  // namespace

// Not one that the system picks: the numbers it hands out are those of outgoing connections too, so
// while an agent restarts, its port could become the near end of somebody's connection, or of the
// very one that looks whether the agent is back. Each test process has a stretch of its own below.
int FreePort() {
#if defined(__FreeBSD__)  // where it picks from 10,000 on
  constexpr int kFirst = 2'000;
  constexpr int kCount = 8'000;
#else
  constexpr int kFirst = 10'000;
  constexpr int kCount = 22'000;
#endif
  constexpr int kStretch = 61;
  static std::atomic<int> next{0};
  for (;;) {
    const int port = kFirst + (getpid() % kCount * kStretch + next++) % kCount;
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool is_free = bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    close(fd);
    if (is_free) return port;
  }
}

bool Eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + 30s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

const char* LacksProc() {
  return std::filesystem::exists("/proc/self/stat") ? nullptr : "no processes below /proc";
}

const char* LacksLoopbackNet() {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr("127.0.0.7");
  const bool has = bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  close(fd);
  return has ? nullptr : "127.0.0.1 is the only address of its kind: ifconfig lo0 alias";
}

std::string ProgramPath() {
  return ZEM_PROGRAM;
}

std::string HelpersPath() {
  return ZEM_HELPERS;
}

Ended RunToEnd(const std::vector<std::string>& arguments) {
  const TempDir dir;
  const pid_t child = Spawn(arguments, dir / "console.txt", {});
  int wait_status = 0;
  waitpid(child, &wait_status, 0);
  return {ExitStatus(wait_status), ReadFile(dir / "console.txt")};
}

AgentProcess::AgentProcess(const Options& options) : options_(options), port_(FreePort()) {
  mkdir(TempPath().c_str(), 0700);
  WriteConfig(options.config);
  std::vector<std::string> arguments = options.switches;
  arguments.push_back(ConfigPath());
  child_ = Spawn(arguments, dir_ / "console.txt", options_);
  if (options.wait_until_listening) Eventually([this] { return Answers() || HasExited(); });
}

AgentProcess::~AgentProcess() {
  const pid_t pid = Pid();
  if (pid > 0) kill(pid, SIGKILL);
  if (!exit_status_) {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
}

void AgentProcess::WriteConfig(const std::string& extra) const {
  std::ostringstream text;
  text << "zempath=" << (options_.zempath.empty() ? ProgramPath() : options_.zempath)
       << "\nhost=127.0.0.1\nport=" << port_ << "\npassword=" << kPassword
       << "\ntmpdir=" << TempPath() << "\npidfile=" << (dir_ / "zem.pid")
       << "\noklogfile=ok.log\nbadlogfile=bad.log\nverboselogfile=verbose.log\nlogsuccess=1\n"
       << "filtermarks=1\nfilterlist=127.0.0.1\n"
       << extra;
  WriteFile(ConfigPath(), text.str());
  chmod(ConfigPath().c_str(), 0600);
}

pid_t AgentProcess::Pid() const {
  const bool interactive = !options_.switches.empty() && options_.switches.front() == "-i";
  if (interactive) return exit_status_ ? -1 : child_;
  const int pid = atoi(ReadFile(dir_ / "zem.pid").c_str());
  return pid > 0 ? pid : -1;
}

void AgentProcess::Signal(int number) const {
  const pid_t pid = Pid();
  if (pid > 0) kill(pid, number);
}

bool AgentProcess::HasExited() {
  int wait_status = 0;
  if (!exit_status_ && waitpid(child_, &wait_status, WNOHANG) == child_) {
    exit_status_ = ExitStatus(wait_status);
  }
  if (!exit_status_) return false;
  // A daemon's parent that ended well is no reason to stop waiting for the daemon.
  const bool interactive = !options_.switches.empty() && options_.switches.front() == "-i";
  return interactive || exit_status_ != 0;
}

int AgentProcess::WaitForExit() {
  Eventually([this] {
    HasExited();
    return exit_status_.has_value();
  });
  return exit_status_.value_or(-1);
}

size_t AgentProcess::OpenDescriptors() const {
  SkipWithoutProc();
  return ListDir("/proc/" + std::to_string(Pid()) + "/fd").size();
}

std::vector<pid_t> AgentProcess::Children() const {
  SkipWithoutProc();
  std::vector<pid_t> children;
  for (const std::string& task : ListDir("/proc/" + std::to_string(Pid()) + "/task")) {
    std::istringstream pids(
        ReadFile("/proc/" + std::to_string(Pid()) + "/task/" + task + "/children"));
    for (pid_t pid = 0; pids >> pid;) children.push_back(pid);
  }
  return children;
}

long AgentProcess::ResidentKilobytes() const {
  SkipWithoutProc();
  std::istringstream statm(ReadFile("/proc/" + std::to_string(Pid()) + "/statm"));
  long pages = 0;
  statm >> pages >> pages;  // the second figure
  return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace zem::test
