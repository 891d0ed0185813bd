// SPDX-License-Identifier: BSD-2-Clause
#include "commands/table.h"

#include "commands/info_commands.h"
#include "commands/raw_command.h"

namespace zem::client {

const std::vector<const Command*>& CommandTable() {
  static const std::vector<const Command*> kTable = {
      &kInfoCommand,
      &kPingCommand,
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
