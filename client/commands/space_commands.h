// SPDX-License-Identifier: BSD-2-Clause
// disk, du, count: how much there is.

#ifndef ZEM_CLIENT_COMMANDS_SPACE_COMMANDS_H_
#define ZEM_CLIENT_COMMANDS_SPACE_COMMANDS_H_

#include "commands/command.h"

namespace zem::client {

extern const Command kDiskCommand;
extern const Command kDuCommand;
extern const Command kCountCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_SPACE_COMMANDS_H_
