// SPDX-License-Identifier: BSD-2-Clause
#include "commands/table.h"

#include "commands/control_commands.h"
#include "commands/file_commands.h"
#include "commands/info_commands.h"
#include "commands/list_command.h"
#include "commands/network_commands.h"
#include "commands/process_commands.h"
#include "commands/raw_command.h"
#include "commands/run_commands.h"
#include "commands/settings_commands.h"
#include "commands/space_commands.h"
#include "commands/upgrade_command.h"

namespace zem::client {

const std::vector<const Command*>& CommandTable() {
  static const std::vector<const Command*> kTable = {
      &kInfoCommand,
      &kPingCommand,
      // Files.
      &kDiskCommand,
      &kDuCommand,
      &kCountCommand,
      &kExistsCommand,
      &kHashCommand,
      &kCompareCommand,
      &kContainsCommand,
      &kGrepCommand,
      &kListCommand,
      // Processes and services.
      &kProcCommand,
      &kProcsCommand,
      &kCpuCommand,
      &kTcpCommand,
      &kUdpCommand,
      &kRunCommand,
      &kScriptCommand,
      // Actions.
      &kExecCommand,
      &kSyslogCommand,
      &kSendCommand,
      // Management.
      &kSettingsGetCommand,
      &kSettingsSetCommand,
      &kReloadCommand,
      &kRestartCommand,
      &kQuitCommand,
      &kUpgradeCommand,
      &kRawCommand,
  };
  return kTable;
}

const Command* FindCommand(std::string_view name) {
  for (const Command* command : CommandTable()) {
    if (command->name == name) return command;
  }
  return nullptr;
}

}  // namespace zem::client
