// SPDX-License-Identifier: BSD-2-Clause
// Subcommands that ask no agent.

#ifndef ZEM_CLIENT_LOCAL_LOCAL_COMMAND_H_
#define ZEM_CLIENT_LOCAL_LOCAL_COMMAND_H_

#include <string>
#include <vector>

#include "commands/command.h"

namespace zem::client {

// The configuration that a command was given; std::invalid_argument when there is none.
std::string ConfigPath(const Arguments& arguments);

// Those that ask an agent, and these.
const std::vector<const Command*>& AllCommands();

extern const Command kConfigcheckCommand;
extern const Command kScripttestCommand;
extern const Command kGenpassCommand;
extern const Command kHostsCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_LOCAL_LOCAL_COMMAND_H_
