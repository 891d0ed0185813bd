// SPDX-License-Identifier: BSD-2-Clause
#include "commands/table.h"

#include <algorithm>

namespace zem::client {

const std::vector<const Command*>& CommandTable() {
  static const std::vector<const Command*> kTable = [] {
    std::vector<const Command*> table;
    for (const auto& rows :
         {kInfoCommands, kSpaceCommands, kFileCommands, kListCommands, kProcessCommands,
          kProbeCommands, kRunCommands, kPluginCommands, kCheckCommands, kExecCommands,
          kMessageCommands, kSettingsCommands, kControlCommands, kUpgradeCommands, kRawCommands}) {
      for (const Command& row : rows) table.push_back(&row);
    }
    return table;
  }();
  return kTable;
}

const Command& NamedCommand(std::string_view name) {
  const auto& table = CommandTable();
  return **std::find_if(table.begin(), table.end(),
                        [name](const auto* row) { return row->name == name; });
}

}  // namespace zem::client
