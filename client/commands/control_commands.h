// SPDX-License-Identifier: BSD-2-Clause
// reload, restart, quit: the agent's own life.

#ifndef ZEM_CLIENT_COMMANDS_CONTROL_COMMANDS_H_
#define ZEM_CLIENT_COMMANDS_CONTROL_COMMANDS_H_

#include <string_view>

#include "commands/command.h"

namespace zem::client {

extern const Command kReloadCommand;
extern const Command kRestartCommand;
extern const Command kQuitCommand;

// Asks until the agent answers again, after it has said that it goes; then notes its version in
// the exchange, or turns it into a failure when the time runs out.
void WaitForReturn(const Endpoint& endpoint, std::string_view password, const Deadline& deadline,
                   Exchange* exchange);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_CONTROL_COMMANDS_H_
