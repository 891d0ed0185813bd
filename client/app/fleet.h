// SPDX-License-Identifier: BSD-2-Clause
// Asks many hosts side by side: a bounded number at a time, so that a dead one holds nobody up.

#ifndef ZEM_CLIENT_APP_FLEET_H_
#define ZEM_CLIENT_APP_FLEET_H_

#include <optional>
#include <string>
#include <vector>

#include "app/options.h"
#include "app/outcome.h"
#include "app/targets.h"
#include "output/terminal.h"

namespace zem::client {

// Shows the answers of many hosts as they arrive.
//
// On a terminal the last rows stand there until all are in, and then the table, failures first.
// Into a pipe or a file each row is written as soon as those before it are: in the order of the
// hosts, one line each, as programs have it. What JSON, raw replies and plugins print is whole or
// nothing, so it waits for the end. Hints and the sum go to standard error. Threads: one.
class FleetView {
 public:
  FleetView(const std::vector<Target>& targets, const Options& options);

  void Take(size_t number, Outcome outcome);
  // Prints what may be printed by now.
  void Show();
  // How long Show may wait for its next call when nothing arrives.
  Milliseconds Patience() const;
  // Prints the rest. The exit status.
  int Finish();

 private:
  std::string PlainRows(bool over_gaps);
  std::string Frame();
  std::string Erased() const;

  const Options& options_;
  const Style out_;
  const Style err_;
  std::vector<std::optional<Outcome>> outcomes_;  // in the order of the targets
  std::vector<size_t> arrived_;
  const bool rows_;  // a table of many hosts
  // Of rows that are written once, and the number of targets whose turn has been.
  std::vector<size_t> widths_;
  size_t written_ = 0;
  // Where rows are written anew instead, and what stands there.
  std::optional<Terminal> terminal_;
  size_t drawn_lines_ = 0;
  size_t drawn_hosts_ = 0;
  Clock::time_point drawn_at_;
};

// Asks, prints, and does so again for as long as options.watch says. The exit status; when the
// person interrupts it, the process ends here, with what has arrived printed.
int AskFleet(const std::vector<Target>& targets, const Plan& plan, const Options& options);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_FLEET_H_
