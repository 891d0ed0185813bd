// SPDX-License-Identifier: BSD-2-Clause
#include <unistd.h>

#include <cstdio>

#include "app/run.h"
#include "wire/resolver.h"

int main(int argc, char** argv) {
  const int exit_code = zem::client::Run(argc, argv);
  // A full disk or a closed pipe must not look like success.
  const bool written = fflush(stdout) == 0 && ferror(stdout) == 0;
  const int status = written || exit_code != 0 ? exit_code : 2;
  if (zem::client::LookupsLeftBehind()) _exit(status);
  return status;
}
