// SPDX-License-Identifier: BSD-2-Clause
// upgrade: a new program for the agent.

#ifndef ZEM_CLIENT_COMMANDS_UPGRADE_COMMAND_H_
#define ZEM_CLIENT_COMMANDS_UPGRADE_COMMAND_H_

#include "commands/command.h"

namespace zem::client {

extern const Command kUpgradeCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_UPGRADE_COMMAND_H_
