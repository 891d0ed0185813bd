// SPDX-License-Identifier: BSD-2-Clause
// info, ping: what an agent says about itself. Also the reading of its name=value lines.

#ifndef ZEM_CLIENT_COMMANDS_INFO_COMMANDS_H_
#define ZEM_CLIENT_COMMANDS_INFO_COMMANDS_H_

#include <optional>
#include <string_view>

#include "commands/command.h"

namespace zem::client {

extern const Command kInfoCommand;
extern const Command kPingCommand;

// The value behind "name=" in the reply, as it was sent.
std::optional<std::string_view> NamedLine(const Reply& reply, std::string_view name);

// What the agent tells about itself, as a record.
Value ParseInfo(const Answer& answer);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_INFO_COMMANDS_H_
