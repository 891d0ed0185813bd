// SPDX-License-Identifier: BSD-2-Clause
#include <unistd.h>

#include "app/run.h"
#include "wire/connection.h"

int main(int argc, char** argv) {
  const int status = zem::client::Run(argc, argv);
  if (zem::client::LookupsLeftBehind()) _exit(status);
  return status;
}
