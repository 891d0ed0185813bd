// SPDX-License-Identifier: BSD-2-Clause
// The ready checks: shell texts in a folder, sent to the agent, that print figures for the client
// to judge.
//
// Shapes:  the first line says what it is, "# NAME [ARGUMENTS]: what it looks at"; the second the
//          unit of what is judged (B, %, s or -) and its thresholds, "# % -w 80 -c 90". In front of
//          the text goes lib.sh of the same folder. What a check prints, a line each:
//            judge VALUE UNIT LEAST MOST LABEL    a figure that the thresholds apply to
//            show VALUE UNIT LEAST MOST LABEL     one that only goes along; "-" = none
//            text TEXT                            the line for people
//            unknown REASON                       it cannot tell
//            keep TEXT                            what the next run gets, for each host its own
// Errors:  std::invalid_argument, with a text for the person who named the check; BadReply.
// Threads: any.

#ifndef ZEM_CLIENT_COMMANDS_READY_CHECK_H_
#define ZEM_CLIENT_COMMANDS_READY_CHECK_H_

#include <string>
#include <string_view>
#include <vector>

#include "model/value.h"
#include "plugin/check.h"

namespace zem::client {

struct ReadyCheck {
  std::string title;
  std::string text;  // lib.sh included
  RangeParser range = PlainRange;
  std::string warning;
  std::string critical;
};

ReadyCheck LoadCheck(const std::string& folder, const std::string& name);
// In the order of their names.
std::vector<std::string> CheckNames(const std::string& folder);

// What a check printed, as a record; `kept` takes its "keep" lines. Its errors tell why where it
// printed no figure.
Value ReadFigures(std::string_view output, const std::string& errors, std::string* kept);
Verdict JudgeFigures(const Value& figures, const Thresholds& thresholds);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_READY_CHECK_H_
