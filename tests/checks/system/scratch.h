// SPDX-License-Identifier: BSD-2-Clause
// What the tests that run programs share: a temporary directory of their own, which the code under
// test uses too, and a count of what a process must not leak.

#ifndef ZEM_TESTS_CHECKS_SYSTEM_SCRATCH_H_
#define ZEM_TESTS_CHECKS_SYSTEM_SCRATCH_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"
#include "temp_dir.h"

namespace zem {

// Its folder "tmp" is the temporary directory of the process while it lives; the test's own files
// lie beside that.
class Scratch : public TempDir {
 public:
  Scratch() {
    std::filesystem::create_directory(Temp());
    Use(Temp());
  }

  static void Use(const std::string& directory) { setenv("TMPDIR", directory.c_str(), 1); }

  std::string Temp() const { return *this / "tmp"; }

  std::string WriteScript(std::string_view name, std::string_view body) const {
    const std::string path = *this / name;
    WriteFile(path, "#!/bin/sh\n" + std::string(body));
    chmod(path.c_str(), 0755);
    return path;
  }

  std::vector<std::string> LeftInTemp() const { return ListDir(Temp()); }
};

// True when this process has no child, neither running nor waiting to be reaped.
inline bool HasNoChild() {
  return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

inline int CountDescriptors() {
  int count = 0;
  for (int fd = 0; fd < 1024; ++fd) count += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
  return count;
}

// True once no process of this number exists; waits for a while.
inline bool IsGone(pid_t process) {
  for (int i = 0; i < 200; ++i) {
    if (kill(process, 0) != 0 && errno == ESRCH) return true;
    // An orphan stays visible until whoever adopted it reaps it; its state tells.
    const std::string stat = ReadFile("/proc/" + std::to_string(process) + "/stat");
    if (stat.find(") Z ") != std::string::npos) return true;
    usleep(10000);
  }
  return false;
}

class Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

using Handler = void(const AgentRequest&, const RequestContext&, AgentReply*);

inline std::string Answer(Handler* handler, const Settings& settings, std::string_view lines) {
  const RequestContext context = {.settings = settings, .session_key = {}};
  AgentReply reply;
  handler(AgentRequest(lines), context, &reply);
  return std::string(reply.Text().View());
}

}  // namespace zem

#endif  // ZEM_TESTS_CHECKS_SYSTEM_SCRATCH_H_
