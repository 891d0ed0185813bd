// SPDX-License-Identifier: BSD-2-Clause
// What the three programs print, and the one rule of names behind them, so that a name taken from
// the list is a name that can be counted.
//
// The name of a process is the one the kernel keeps, completed from its arguments where the kernel
// cut it. A wanted name with a blank or a "/" also counts processes whose command line holds it as
// plain text. Not counted: what does not run any more, this process and those that called it, and
// the runs of other requests.
//
// Shapes:  `program` is the base name that this one was called by; `root` as in processes.h.
// Errors:  an empty answer. Better none than a wrong one: so it is also where processes may be
//          hidden, and SIGALRM ends whoever waits too long for one that cannot be read.
// Threads: one; the alarm belongs to the whole process.

#ifndef ZEM_HELPERS_ANSWERS_H_
#define ZEM_HELPERS_ANSWERS_H_

#include <string>
#include <string_view>

#include "helpers/processes.h"

namespace zem {

// The number of processes and a line feed.
std::string CountAnswer(const std::string& root, std::string_view program, std::string_view wanted);

// Every name once, sorted, a line feed between two: the agent would read the last line twice if one
// stood behind it.
std::string ListAnswer(const std::string& root, std::string_view program);

// How busy the processors were in between, in percent: "12.5" and a line feed.
std::string UsageAnswer(const CpuTicks& before, const CpuTicks& after);

// What follows the last "/".
std::string_view BaseName(std::string_view path);

}  // namespace zem

#endif  // ZEM_HELPERS_ANSWERS_H_
