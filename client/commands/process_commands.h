// SPDX-License-Identifier: BSD-2-Clause
// proc, procs, cpu: what the administrator's scripts on the agent's host tell.

#ifndef ZEM_CLIENT_COMMANDS_PROCESS_COMMANDS_H_
#define ZEM_CLIENT_COMMANDS_PROCESS_COMMANDS_H_

#include "commands/command.h"

namespace zem::client {

extern const Command kProcCommand;
extern const Command kProcsCommand;
extern const Command kCpuCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_PROCESS_COMMANDS_H_
