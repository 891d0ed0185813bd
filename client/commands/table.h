// SPDX-License-Identifier: BSD-2-Clause
// Every subcommand that talks to an agent, and what the files of some lend to others.

#ifndef ZEM_CLIENT_COMMANDS_TABLE_H_
#define ZEM_CLIENT_COMMANDS_TABLE_H_

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "commands/command.h"

namespace zem::client {

// In the order of the help text.
const std::vector<const Command*>& CommandTable();
// The row of a name that one has.
const Command& NamedCommand(std::string_view name);

// The rows of each file.
extern const std::span<const Command> kInfoCommands;
extern const std::span<const Command> kSpaceCommands;
extern const std::span<const Command> kFileCommands;
extern const std::span<const Command> kListCommands;
extern const std::span<const Command> kProcessCommands;
extern const std::span<const Command> kProbeCommands;
extern const std::span<const Command> kRunCommands;
extern const std::span<const Command> kPluginCommands;
extern const std::span<const Command> kCheckCommands;
extern const std::span<const Command> kExecCommands;
extern const std::span<const Command> kMessageCommands;
extern const std::span<const Command> kSettingsCommands;
extern const std::span<const Command> kControlCommands;
extern const std::span<const Command> kUpgradeCommands;
extern const std::span<const Command> kRawCommands;

// What several of them say in the same words.
inline constexpr const char* kManagement = "allowmanage=1, and this address in manageaddr";
inline constexpr const char* kMacroHelp =
    "resolve %newestfile%, %oldestfile%, %newestfolder%, %oldestfolder%";

// The value behind "name=" in the reply, as it was sent.
std::optional<std::string_view> NamedLine(const Reply& reply, std::string_view name);

// What the agent tells about itself, as a record.
Value ParseInfo(const Answer& answer);

// Asks until the agent answers again, after it has said that it goes; then notes its version in
// the exchange, or turns it into a failure when the time runs out.
void WaitForReturn(const Endpoint& endpoint, std::string_view password, const Deadline& deadline,
                   Exchange* exchange);

// The command line template for a script: its own interpreter, so that the agent's temporary
// directory may forbid programs; "/bin/sh" for a script that names none.
std::string TemplateFor(std::string_view script);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_TABLE_H_
