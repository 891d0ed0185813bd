// SPDX-License-Identifier: BSD-2-Clause
// Every subcommand that talks to an agent, and what the files of some lend to others.

#ifndef ZEM_CLIENT_COMMANDS_TABLE_H_
#define ZEM_CLIENT_COMMANDS_TABLE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/command.h"

namespace zem::client {

// In the order of the help text.
const std::vector<const Command*>& CommandTable();

extern const Command kInfoCommand;
extern const Command kPingCommand;
extern const Command kDiskCommand;
extern const Command kDuCommand;
extern const Command kCountCommand;
extern const Command kExistsCommand;
extern const Command kHashCommand;
extern const Command kCompareCommand;
extern const Command kContainsCommand;
extern const Command kGrepCommand;
extern const Command kListCommand;
extern const Command kProcCommand;
extern const Command kProcsCommand;
extern const Command kCpuCommand;
extern const Command kTcpCommand;
extern const Command kUdpCommand;
extern const Command kRunCommand;
extern const Command kScriptCommand;
extern const Command kPluginCommand;
extern const Command kExecCommand;
extern const Command kSyslogCommand;
extern const Command kSendCommand;
extern const Command kSettingsGetCommand;
extern const Command kSettingsSetCommand;
extern const Command kReloadCommand;
extern const Command kRestartCommand;
extern const Command kQuitCommand;
extern const Command kUpgradeCommand;
extern const Command kRawCommand;

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
