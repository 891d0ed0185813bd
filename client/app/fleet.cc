// SPDX-License-Identifier: BSD-2-Clause
#include "app/fleet.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>

namespace zem::client {

std::vector<Outcome> AskAll(const std::vector<Target>& targets, const Plan& plan,
                            const Options& options) {
  std::vector<Outcome> outcomes(targets.size());
  std::atomic<size_t> next = 0;
  const auto work = [&] {
    for (size_t i = next++; i < targets.size(); i = next++) {
      outcomes[i] = AskHost(targets[i], plan, options);
    }
  };
  const size_t helpers = std::min(targets.size(), static_cast<size_t>(options.parallel)) - 1;
  std::vector<std::thread> threads;
  threads.reserve(helpers);
  try {
    for (size_t i = 0; i < helpers; ++i) threads.emplace_back(work);
  } catch (const std::system_error&) {
    // The system has no more threads to give: those there are do the work.
  }
  work();
  for (std::thread& thread : threads) thread.join();
  return outcomes;
}

}  // namespace zem::client
