// SPDX-License-Identifier: BSD-2-Clause
// ls: the entries of a folder.

#ifndef ZEM_CLIENT_COMMANDS_LIST_COMMAND_H_
#define ZEM_CLIENT_COMMANDS_LIST_COMMAND_H_

#include "commands/command.h"

namespace zem::client {

extern const Command kListCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_LIST_COMMAND_H_
