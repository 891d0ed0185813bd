// SPDX-License-Identifier: BSD-2-Clause
// What the agent costs while it stands there, and what peers without the password cost it:
// start-up, memory at rest and for each idle connection, and beside an agent left in peace the time
// of a legitimate request amid silent, dripping and rejected peers. Processor time is a share of
// one core.
//
//   build/bench/bench/standing [connections, default 5000]
//
// Aims: listening within 20 ms, below 4 MiB at rest, below 24 KiB an idle connection, below 1 % of
// a core for 5,000 of them; afterwards descriptors as before.
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "e2e/agent_process.h"

namespace {

using zem::test::AgentProcess;
using zem::test::Connection;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr const char* kQuietLogs = "logsuccess=0\nlogfails=0\n";

double MillisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double CpuSeconds(pid_t pid) {
  clockid_t clock = {};
  timespec used = {};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &used) != 0) abort();
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

double ResidentKib(const AgentProcess& agent) {
  std::ifstream statm("/proc/" + std::to_string(agent.Pid()) + "/statm");
  long all = 0;
  long resident = 0;
  statm >> all >> resident;
  return static_cast<double>(resident * (sysconf(_SC_PAGESIZE) / 1024));
}

void StartUp() {
  std::vector<double> times;
  for (int i = 0; i < 31; ++i) {
    const auto begin = Clock::now();
    const AgentProcess agent(AgentProcess::Options{.wait_until_listening = false});
    while (!Connection(agent.Port()).IsOpen()) std::this_thread::sleep_for(100us);
    times.push_back(MillisecondsSince(begin));
  }
  printf("start-up to the first accepted connection: median %.1f ms\n", Median(times));
}

// The median time of a request, with pauses in between so that the asking is no load.
double RequestMs(const std::function<bool()>& ask) {
  std::vector<double> times;
  for (int i = 0; i < 100; ++i) {
    const auto begin = Clock::now();
    if (!ask()) printf("  a request was not answered\n");
    times.push_back(MillisecondsSince(begin));
    std::this_thread::sleep_for(5ms);
  }
  return Median(times);
}

struct Scene {
  const char* name;
  double request_ms;
  double cpu_share;
  size_t descriptors;
};

void Print(const Scene& scene, double at_peace_ms) {
  printf("%-34s request %6.2f ms, %4.2f times; %6.3f %% of a core; %zu descriptors\n", scene.name,
         scene.request_ms, scene.request_ms / at_peace_ms, scene.cpu_share * 100,
         scene.descriptors);
}

// Processor share over some seconds in which nobody asks, then the time of a request.
Scene Watch(const char* name, const AgentProcess& agent, const std::function<bool()>& ask,
            int seconds, const std::function<void()>& each_second) {
  const double cpu = CpuSeconds(agent.Pid());
  const auto begin = Clock::now();
  for (int second = 1; second <= seconds; ++second) {
    each_second();
    std::this_thread::sleep_until(begin + std::chrono::seconds(second));
  }
  const double share = (CpuSeconds(agent.Pid()) - cpu) * 1000 / MillisecondsSince(begin);
  const size_t descriptors = agent.OpenDescriptors();
  return {name, RequestMs(ask), share, descriptors};
}

void IdleAndDripping(size_t idle_count) {
  const AgentProcess agent(
      AgentProcess::Options{.config = std::string(kQuietLogs) + "timeout=-1\n"});
  const auto ask = [&] { return agent.Answers(); };
  const auto nothing = [] {};
  const Scene peace = Watch("at peace", agent, ask, 5, nothing);
  Print(peace, peace.request_ms);
  const double at_rest = ResidentKib(agent);
  printf("  resident at rest: %.1f MiB\n", at_rest / 1024);
  {
    std::vector<Connection> idle;
    for (size_t i = 0; i < idle_count; ++i) idle.emplace_back(agent.Port());
    std::this_thread::sleep_for(1s);
    const std::string name = std::to_string(idle_count) + " silent connections";
    Print(Watch(name.c_str(), agent, ask, 30, nothing), peace.request_ms);
    printf("  resident for each: %.1f KiB\n",
           (ResidentKib(agent) - at_rest) / static_cast<double>(idle_count));
  }
  {
    std::vector<Connection> dripping;
    for (size_t i = 0; i < idle_count * 2 / 5; ++i) dripping.emplace_back(agent.Port());
    const std::string packet = zem::test::Packet("GetInfo\r", "a guess");
    size_t sent = 0;
    const std::string name = std::to_string(dripping.size()) + " drip a byte a second";
    Print(Watch(name.c_str(), agent, ask, 10,
                [&] {
                  for (const Connection& drip : dripping) (void)drip.Send(packet.substr(sent, 1));
                  ++sent;
                }),
          peace.request_ms);
  }
  std::this_thread::sleep_for(2s);
  Print(Watch("afterwards", agent, ask, 5, nothing), peace.request_ms);
  printf("  resident afterwards: %.1f MiB\n", ResidentKib(agent) / 1024);
}

void Rejected(size_t count) {
  const AgentProcess agent(AgentProcess::Options{
      .config = std::string(kQuietLogs) + "filteractive=1\nfiltermarks=1\nfilterlist=127.0.0.7\n",
      .wait_until_listening = false});
  const auto ask = [&] {
    const Connection listed(agent.Port(), "127.0.0.7");
    return listed.Send(zem::test::Packet("GetInfo\r")) && listed.ReceiveReply().has_value();
  };
  zem::test::Eventually([&] { return Connection(agent.Port(), "127.0.0.7").IsOpen(); });
  const double peace = RequestMs(ask);
  const double cpu = CpuSeconds(agent.Pid());
  for (size_t i = 0; i < count; ++i) {
    const Connection rejected(agent.Port());
    if (!rejected.ClosesWithin(30'000)) printf("  a connection was not closed\n");
  }
  const double each = (CpuSeconds(agent.Pid()) - cpu) * 1e6 / static_cast<double>(count);
  const size_t descriptors = agent.OpenDescriptors();
  for (size_t i = 0; i < count; ++i) (void)Connection(agent.Port()).ClosesWithin(30'000);
  const double request_ms = RequestMs(ask);
  printf(
      "%-34s request %6.2f ms, %4.2f times; %.0f us of a core each; %zu descriptors, %zu after "
      "as many again\n",
      (std::to_string(count) + " rejected by the filter").c_str(), request_ms, request_ms / peace,
      each, descriptors, agent.OpenDescriptors());
}

}  // namespace

int main(int argc, char** argv) {
  const size_t count = argc > 1 ? strtoul(argv[1], nullptr, 10) : 5000;
  rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);  // for the agent too, as its service files do
  StartUp();
  IdleAndDripping(count);
  Rejected(count * 2);
  return 0;
}
