// SPDX-License-Identifier: BSD-2-Clause
// Writes outcomes for people, for programs, for monitoring systems.

#ifndef ZEM_CLIENT_APP_REPORT_H_
#define ZEM_CLIENT_APP_REPORT_H_

#include <string>
#include <vector>

#include "app/options.h"
#include "app/outcome.h"
#include "output/terminal.h"

namespace zem::client {

// What goes to standard output and to standard error.
struct Report {
  std::string out;
  std::string err;
  int exit_code = 0;
};

// Of those that were asked the ones that have answered. Rows of many hosts are no part of it: see
// fleet.h.
Report MakeReport(const std::vector<Outcome>& outcomes, size_t asked, const Options& options,
                  const Style& out, const Style& err);

// One outcome as the object that programs read.
Value OutcomeValue(const Outcome& outcome, const Command& command);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_REPORT_H_
