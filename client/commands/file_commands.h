// SPDX-License-Identifier: BSD-2-Clause
// exists, hash, compare, contains, grep: questions about single files.

#ifndef ZEM_CLIENT_COMMANDS_FILE_COMMANDS_H_
#define ZEM_CLIENT_COMMANDS_FILE_COMMANDS_H_

#include "commands/command.h"

namespace zem::client {

extern const Command kExistsCommand;
extern const Command kHashCommand;
extern const Command kCompareCommand;
extern const Command kContainsCommand;
extern const Command kGrepCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_FILE_COMMANDS_H_
