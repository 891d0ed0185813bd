// SPDX-License-Identifier: BSD-2-Clause
// A server that a benchmark loads: the processes that serve, and how to ask them once.

#ifndef ZEM_BENCH_SERVER_H_
#define ZEM_BENCH_SERVER_H_

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace zem::bench {

struct Server {
  std::string name;
  std::vector<pid_t> processes;
  std::function<bool()> ask;  // one request on a connection of its own; any thread

  // Processor time that all of its threads have used, those that have ended included.
  double CpuSeconds() const {
    double seconds = 0;
    for (const pid_t process : processes) {
      clockid_t clock = {};
      timespec used = {};
      if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &used) != 0) abort();
      seconds += static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
    }
    return seconds;
  }
};

// A child of the benchmark, ended with it.
class Child {
 public:
  explicit Child(pid_t pid) : pid_(pid) {}
  ~Child() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t Pid() const { return pid_; }

 private:
  const pid_t pid_;
};

}  // namespace zem::bench

#endif  // ZEM_BENCH_SERVER_H_
