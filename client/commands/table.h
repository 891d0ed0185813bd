// SPDX-License-Identifier: BSD-2-Clause
// Every subcommand that talks to an agent, in the order of the help text.

#ifndef ZEM_CLIENT_COMMANDS_TABLE_H_
#define ZEM_CLIENT_COMMANDS_TABLE_H_

#include <string_view>
#include <vector>

#include "commands/command.h"

namespace zem::client {

const std::vector<const Command*>& CommandTable();

// By its name as typed ("settings get"); null when there is none.
const Command* FindCommand(std::string_view name);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_TABLE_H_
