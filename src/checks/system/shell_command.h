// SPDX-License-Identifier: BSD-2-Clause
// A command for the system shell, in place of the C library's `system`.
//
// That one changes the process's signal actions and mask while the command runs and hands the
// calling thread's mask to it; in a program of many threads neither will do.
// Threads: any; blocks until the shell has ended, without a limit.

#ifndef ZEM_CHECKS_SYSTEM_SHELL_COMMAND_H_
#define ZEM_CHECKS_SYSTEM_SHELL_COMMAND_H_

namespace zem {

// The shell's wait status, or -1 when it could not be started or waited for.
int RunShellCommand(const char* command);

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_SHELL_COMMAND_H_
