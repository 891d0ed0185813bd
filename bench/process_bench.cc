// SPDX-License-Identifier: BSD-2-Clause
// What it costs to run a program, beside a bare fork, exec and wait of the same program in the same
// run, and what it costs the agent to wait for a hundred programs.
//
//   build/bench/bench/process_bench [runs of each kind, default 500]
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "checks/system/process_runner.h"
#include "e2e/agent_process.h"

namespace {

using zem::test::AgentProcess;

void RunBare() {
  const pid_t child = fork();
  if (child == 0) {
    execl("/bin/true", "true", nullptr);
    _exit(255);
  }
  waitpid(child, nullptr, 0);
}

void RunByRunner(int32_t timeout_ms) {
  int32_t exit_code = 0;
  zem::OvString error;
  if (!zem::RunQuietProcess({.command_line = "/bin/true", .timeout_ms = timeout_ms}, &exit_code,
                            &error))
    abort();
}

struct Kind {
  const char* name;
  std::function<void()> run;
  std::vector<double> took_us = {};
};

// The kinds take turns, so that whatever else the machine does meets all of them.
void Measure(std::vector<Kind>* kinds, int runs) {
  for (int i = 0; i < runs; ++i) {
    for (Kind& kind : *kinds) {
      const auto begin = std::chrono::steady_clock::now();
      kind.run();
      const auto took = std::chrono::steady_clock::now() - begin;
      kind.took_us.push_back(std::chrono::duration<double, std::micro>(took).count());
    }
  }
  printf("%-36s %10s %10s %10s\n", "/bin/true, microseconds", "median", "90 %", "99 %");
  for (Kind& kind : *kinds) {
    std::sort(kind.took_us.begin(), kind.took_us.end());
    const auto at = [&](size_t percent) {
      return kind.took_us[kind.took_us.size() * percent / 100];
    };
    printf("%-36s %10.0f %10.0f %10.0f\n", kind.name, at(50), at(90), at(99));
  }
}

double CpuSeconds(pid_t pid) {
  clockid_t clock = {};
  timespec used = {};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &used) != 0) abort();
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

void MeasureWaiters(const AgentProcess& agent, int waiters) {
  std::vector<std::thread> threads;
  for (int i = 0; i < waiters; ++i) {
    threads.emplace_back([&] { (void)agent.Ask("TEST-ExternalPrg\nsleep 14\n\n\n60000\n"); });
  }
  // Past the start, and past the first short looks of each wait.
  std::this_thread::sleep_for(std::chrono::seconds(4));
  const double before = CpuSeconds(agent.Pid());
  std::this_thread::sleep_for(std::chrono::seconds(8));
  const double used = CpuSeconds(agent.Pid()) - before;
  printf("%d sessions waiting for programs: %.3f %% of one core\n", waiters, used / 8 * 100);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace

int main(int argc, char** argv) {
  const int runs = argc > 1 ? std::max(atoi(argv[1]), 1) : 500;
  const AgentProcess agent;
  std::vector<Kind> kinds = {
      {"bare fork, exec, wait", RunBare},
      {"runner, no limit", [] { RunByRunner(0); }},
      {"runner, limit of 10 s", [] { RunByRunner(10000); }},
      {"TEST-ExternalPrg, no limit",
       [&] { (void)agent.Ask("TEST-ExternalPrg\n/bin/true\n\n\n0\n"); }},
      {"TEST-ExternalPrg, limit of 10 s",
       [&] { (void)agent.Ask("TEST-ExternalPrg\n/bin/true\n\n\n10000\n"); }},
      {"GetInfo, no program at all", [&] { (void)agent.Ask("GetInfo\n"); }},
  };
  Measure(&kinds, runs);
  MeasureWaiters(agent, 100);
  return 0;
}
