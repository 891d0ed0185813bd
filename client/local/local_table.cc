// SPDX-License-Identifier: BSD-2-Clause
#include "local/genpass.h"
#include "local/local_command.h"

namespace zem::client {

const std::vector<const LocalCommand*>& LocalCommandTable() {
  static const std::vector<const LocalCommand*> kTable = {
      &kGenpassCommand,
  };
  return kTable;
}

}  // namespace zem::client
