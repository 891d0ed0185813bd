// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "local/local_command.h"

namespace zem::client {

std::string ConfigPath(const Arguments& arguments) {
  if (!arguments.Has("file"))
    throw std::invalid_argument("FILE is missing, or --agent-config FILE");
  return arguments.Text("file");
}

const std::vector<const LocalCommand*>& LocalCommandTable() {
  static const std::vector<const LocalCommand*> kTable = {
      &kConfigcheckCommand,
      &kScripttestCommand,
      &kGenpassCommand,
      &kHostsCommand,
  };
  return kTable;
}

}  // namespace zem::client
