// SPDX-License-Identifier: BSD-2-Clause
// settings get, settings set: the agent's configuration from afar.

#ifndef ZEM_CLIENT_COMMANDS_SETTINGS_COMMANDS_H_
#define ZEM_CLIENT_COMMANDS_SETTINGS_COMMANDS_H_

#include "commands/command.h"

namespace zem::client {

extern const Command kSettingsGetCommand;
extern const Command kSettingsSetCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_SETTINGS_COMMANDS_H_
