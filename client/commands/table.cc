// SPDX-License-Identifier: BSD-2-Clause
#include "commands/table.h"

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
      &kPluginCommand,
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

}  // namespace zem::client
