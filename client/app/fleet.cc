// SPDX-License-Identifier: BSD-2-Clause
#include "app/fleet.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "app/interrupt.h"

namespace zem::client {

namespace {

using Arrivals = std::vector<std::pair<size_t, Outcome>>;

// The threads that still wait for their hosts cannot be waited for, nor may anything they use go.
[[noreturn]] void EndInterrupted() {
  fflush(stdout);
  _exit(kExitInterrupted);
}

int AskOnce(const std::vector<Target>& targets, const Plan& plan, const Options& options,
            const Interrupt& interrupt) {
  FleetView view(targets, options);
  std::atomic<size_t> next = 0;
  std::mutex mutex;
  Arrivals arrivals;
  const auto work = [&] {
    for (size_t i = next++; i < targets.size(); i = next++) {
      Outcome outcome = AskHost(targets[i], plan, options);
      const std::lock_guard lock(mutex);
      arrivals.emplace_back(i, std::move(outcome));
      Interrupt::Wake();
    }
  };
  std::vector<std::thread> threads(std::min(targets.size(), static_cast<size_t>(options.parallel)));
  try {
    for (std::thread& thread : threads) thread = std::thread(work);
  } catch (const std::system_error&) {
    // The system has no more threads to give: those there are do the work.
    if (!threads.front().joinable()) work();
  }
  for (size_t arrived = 0; arrived < targets.size();) {
    if (interrupt.Wait(view.Patience())) {
      (void)view.Finish();
      for (std::thread& thread : threads) {
        if (thread.joinable()) thread.detach();
      }
      EndInterrupted();
    }
    Arrivals fresh;
    {
      const std::lock_guard lock(mutex);
      fresh.swap(arrivals);
    }
    arrived += fresh.size();
    for (auto& [number, outcome] : fresh) view.Take(number, std::move(outcome));
    view.Show();
  }
  for (std::thread& thread : threads) {
    if (thread.joinable()) thread.join();
  }
  return view.Finish();
}

void PrintTime(const Options& options) {
  if (options.output != Output::kTable || options.quiet) return;
  const time_t now = time(nullptr);
  tm local = {};
  char text[32];
  (void)localtime_r(&now, &local);
  text[strftime(text, sizeof(text), "%F %T", &local)] = '\0';
  fmt::print("{}\n", text);
}

}  // namespace

int AskFleet(const std::vector<Target>& targets, const Plan& plan, const Options& options) {
  const Interrupt interrupt(!options.plugin);
  if (options.watch == 0) return AskOnce(targets, plan, options, interrupt);
  while (true) {
    const Deadline next(Milliseconds(options.watch * 1000LL));
    PrintTime(options);
    const int exit_code = AskOnce(targets, plan, options, interrupt);
    if (ferror(stdout) != 0) return exit_code;
    while (!next.HasPassed()) {
      if (interrupt.Wait(next.Left())) EndInterrupted();
    }
  }
}

}  // namespace zem::client
