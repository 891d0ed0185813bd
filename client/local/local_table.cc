// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "commands/table.h"
#include "local/local_command.h"

namespace zem::client {

std::string ConfigPath(const Arguments& arguments) {
  if (!arguments.Has("file"))
    throw std::invalid_argument("FILE is missing, or --agent-config FILE");
  return arguments.Text("file");
}

const std::vector<const Command*>& AllCommands() {
  static const std::vector<const Command*> kTable = [] {
    std::vector<const Command*> table = CommandTable();
    table.insert(table.end(),
                 {&kConfigcheckCommand, &kScripttestCommand, &kGenpassCommand, &kHostsCommand});
    return table;
  }();
  return kTable;
}

}  // namespace zem::client
