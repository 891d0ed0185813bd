// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/shell_command.h"

#include <sys/wait.h>

#include <cerrno>

#include "checks/system/child_process.h"
#include "text/ovstring.h"

namespace zem {

int RunShellCommand(const char* command) {
  OvString text(command);
  char shell[] = "/bin/sh";
  char option[] = "-c";
  char* const words[] = {shell, option, text.Resize(text.Length()), nullptr};
  ChildPlan plan;
  plan.words = words;
  plan.failure_status = 127;
  const pid_t child = StartChild(plan);
  if (child < 0) return -1;
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return status;
}

}  // namespace zem
