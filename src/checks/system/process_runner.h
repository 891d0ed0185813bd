// SPDX-License-Identifier: BSD-2-Clause
// Starts an outside program and waits for it, with a time limit.
//
// Shapes:  the command line is split into words (see command_words.h), no shell; the exit code is
//          0 to 255.
// Units:   time limit in milliseconds; -1 = start and do not wait, 0 = no limit.
// Errors:  false and one line in *error, which is emptied on entry; *exit_code then keeps what it
//          held.
// Threads: any; blocks the caller. Every child is reaped, one that is not waited for by a later
//          look, except those that run on past a restart of the agent.

#ifndef ZEM_CHECKS_SYSTEM_PROCESS_RUNNER_H_
#define ZEM_CHECKS_SYSTEM_PROCESS_RUNNER_H_

#include <cstdint>

#include "text/ovstring.h"

namespace zem {

inline constexpr int32_t kDoNotWait = -1;

struct ProgramRun {
  const char* command_line = "";
  const char* working_directory = nullptr;  // null = the agent's own
  // Found from the agent's own folder, not from the working directory; null = /dev/null.
  const char* input_file = nullptr;
  const char* output_file = nullptr;
  const char* error_file = nullptr;
  int32_t timeout_ms = 0;
};

[[nodiscard]] bool RunProcess(const ProgramRun& run, int32_t* exit_code, OvString* error);

// The same with all three streams on /dev/null, whatever files the run names.
[[nodiscard]] bool RunQuietProcess(ProgramRun run, int32_t* exit_code, OvString* error);

// Takes those of the programs left running that have ended off the system's process table, where
// each would count against the limits of the agent's user and its service. For the main thread,
// time and again: a program that ends may be the last one for a long while. Never blocks.
void ReapLeftPrograms();

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_PROCESS_RUNNER_H_
