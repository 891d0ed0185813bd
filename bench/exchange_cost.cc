// SPDX-License-Identifier: BSD-2-Clause
// Processor time of the exchanges that a probe of zem-exporter is made of, by the client's library
// alone: no HTTP, no queue, no metrics. Asked at the pace of a fleet, since a processor that sleeps
// in between finds nothing at hand.
//
//   build/bench/bench/exchange_cost EXPORTER_YML PORT [ROUNDS, default 2000]
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "config.h"

namespace zem::bench {
namespace {

using client::Clock;

constexpr std::chrono::milliseconds kBetween{15};  // 1,000 hosts every 15 s

double OwnSeconds() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

int Measure(const char* path, int port, int rounds) {
  const exporter::Config config = exporter::ReadConfig(path);
  const auto& steps = config.modules.at("default");
  const std::string_view password = config.auths.begin()->second.View();
  const double before = OwnSeconds();
  auto next = Clock::now();
  for (int round = 0; round < rounds; ++round) {
    client::Endpoint endpoint;
    endpoint.host =
        "127.0." + std::to_string(1 + round / 250 % 4) + '.' + std::to_string(1 + round % 250);
    endpoint.port = port;
    const client::Deadline deadline(client::Milliseconds(10'000));
    bool good = !client::Ask(endpoint, exporter::InfoRequest(), password, deadline).failure;
    for (const exporter::Step& step : steps) {
      good = good && !exporter::AskStep(step, endpoint, password, deadline).failure;
    }
    if (!good) {
      fprintf(stderr, "the agent does not answer\n");
      return 1;
    }
    next += kBetween;
    std::this_thread::sleep_until(next);
  }
  printf("the exchanges alone, %zu connections: %.3f ms CPU\n", steps.size() + 1,
         (OwnSeconds() - before) * 1000 / rounds);
  return 0;
}

}  // namespace
}  // namespace zem::bench

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  return zem::bench::Measure(argv[1], atoi(argv[2]), argc > 3 ? atoi(argv[3]) : 2000);
}
