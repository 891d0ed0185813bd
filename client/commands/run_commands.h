// SPDX-License-Identifier: BSD-2-Clause
// run, exec, script: programs that the agent starts.

#ifndef ZEM_CLIENT_COMMANDS_RUN_COMMANDS_H_
#define ZEM_CLIENT_COMMANDS_RUN_COMMANDS_H_

#include <string>
#include <string_view>

#include "commands/command.h"

namespace zem::client {

extern const Command kRunCommand;
extern const Command kExecCommand;
extern const Command kScriptCommand;

// The command line template for a script: its own interpreter, so that the agent's temporary
// directory may forbid programs; "/bin/sh" for a script that names none.
std::string TemplateFor(std::string_view script);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_RUN_COMMANDS_H_
