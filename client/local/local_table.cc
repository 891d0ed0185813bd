// SPDX-License-Identifier: BSD-2-Clause
#include "local/configcheck.h"
#include "local/genpass.h"
#include "local/local_command.h"
#include "local/scripttest.h"

namespace zem::client {

const std::vector<const LocalCommand*>& LocalCommandTable() {
  static const std::vector<const LocalCommand*> kTable = {
      &kConfigcheckCommand,
      &kScripttestCommand,
      &kGenpassCommand,
  };
  return kTable;
}

}  // namespace zem::client
