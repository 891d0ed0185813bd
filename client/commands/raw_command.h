// SPDX-License-Identifier: BSD-2-Clause
// raw: everything the wire allows, for what no other subcommand covers.

#ifndef ZEM_CLIENT_COMMANDS_RAW_COMMAND_H_
#define ZEM_CLIENT_COMMANDS_RAW_COMMAND_H_

#include "commands/command.h"

namespace zem::client {

extern const Command kRawCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_RAW_COMMAND_H_
