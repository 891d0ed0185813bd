// SPDX-License-Identifier: BSD-2-Clause
#include "core/daemon.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "core/console.h"
#include "core/exit_status.h"

namespace zem {

namespace {

void ReopenOnNull(int descriptor, int flags) {
  const int null_device = open("/dev/null", flags);
  if (null_device < 0 || null_device == descriptor) return;
  dup2(null_device, descriptor);
  close(null_device);
}

}  // namespace

void FillStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    // open takes the lowest free number, which is this one.
    if (fcntl(descriptor, F_GETFD) < 0) ReopenOnNull(descriptor, O_RDWR);
  }
}

int Daemonize() {
  fflush(stdout);
  const pid_t child = fork();
  if (child < 0) return -1;
  if (child > 0) {
    Print("Daemon started\n");
    _exit(exit_status::kOk);
  }
  setsid();
  ReopenOnNull(STDIN_FILENO, O_RDONLY);
  ReopenOnNull(STDOUT_FILENO, O_WRONLY);
  ReopenOnNull(STDERR_FILENO, O_WRONLY);
  return 0;
}

}  // namespace zem
