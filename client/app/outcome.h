// SPDX-License-Identifier: BSD-2-Clause
// What came of asking one host, read and judged.
//
// Threads: AskHost may run for many hosts at once; an outcome belongs to whoever holds it.

#ifndef ZEM_CLIENT_APP_OUTCOME_H_
#define ZEM_CLIENT_APP_OUTCOME_H_

#include <string>
#include <vector>

#include "app/options.h"
#include "app/targets.h"
#include "commands/command.h"
#include "model/value.h"
#include "output/terminal.h"
#include "plugin/check.h"
#include "wire/failure.h"
#include "wire/reply_text.h"

namespace zem::client {

struct Outcome {
  std::string name;
  Endpoint endpoint;
  std::string request;  // the command word on the wire
  Failure failure;      // no reply, or none that can be read
  Exchange exchange;
  Reply reply;
  Value result;         // null unless the status is 200
  std::string summary;  // one line: the answer, or what went wrong
  std::string hint;     // one line: what to do about it; may be empty
  int exit_code = 0;
  Verdict verdict;  // in plugin mode

  bool IsDone() const { return !failure && reply.IsDone(); }
};

Outcome AskHost(const Target& target, const Plan& plan, const Options& options);

// How long one host may take, everything included.
Milliseconds TimeFor(const Plan& plan, const Options& options);

// Outcomes as they are written for people, for programs, for monitoring systems.
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

#endif  // ZEM_CLIENT_APP_OUTCOME_H_
