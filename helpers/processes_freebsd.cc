// SPDX-License-Identifier: BSD-2-Clause
#include <sys/param.h>
#include <sys/proc.h>
#include <sys/resource.h>
#include <sys/sysctl.h>
#include <sys/user.h>
#include <unistd.h>

#include <cerrno>

#include "helpers/processes.h"

namespace zem {

const size_t kKernelNameLength = COMMLEN;

namespace {

int Number(const char* name, int otherwise) {
  int value = 0;
  size_t size = sizeof(value);
  return sysctlbyname(name, &value, &size, nullptr, 0) == 0 ? value : otherwise;
}

bool IsJailed() {
  return Number("security.jail.jailed", 0) != 0;
}

}  // namespace

Reading ReadProcess(const std::string&, pid_t pid, Process* process) {
  int question[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid};
  kinfo_proc info = {};
  size_t size = sizeof(info);
  if (sysctl(question, 4, &info, &size, nullptr, 0) != 0) {
    return errno == ESRCH ? Reading::kGone : Reading::kFailed;
  }
  if (size == 0) return Reading::kGone;
  if (size != sizeof(info) || info.ki_structsize != static_cast<int>(sizeof(info))) {
    return Reading::kFailed;
  }
  process->parent = info.ki_ppid;
  process->name = info.ki_comm;
  process->kernel = (info.ki_flag & P_KPROC) != 0;
  // Inside of a jail every process that can be seen is its own.
  process->running = info.ki_stat != SZOMB && (info.ki_jid == 0 || IsJailed());
  process->arguments.clear();
  if (!process->running) return Reading::kDone;
  question[2] = KERN_PROC_ARGS;
  static char arguments[kMostArguments];
  size = sizeof(arguments);
  // ENOMEM: longer than that, the beginning is there. A process can make its arguments unreadable;
  // that costs nobody else's answer.
  if (sysctl(question, 4, arguments, &size, nullptr, 0) != 0 && errno != ENOMEM) {
    if (errno == ESRCH) return Reading::kGone;
    size = 0;
  }
  process->arguments.assign(arguments, size);
  process->arguments.erase(0, process->arguments.find_first_not_of('\0'));
  return Reading::kDone;
}

std::optional<std::vector<pid_t>> ListProcesses(const std::string&) {
  if (geteuid() != 0 && (Number("security.bsd.see_other_uids", 0) != 1 ||
                         Number("security.bsd.see_other_gids", 0) != 1)) {
    return std::nullopt;
  }
  int question[] = {CTL_KERN, KERN_PROC, KERN_PROC_PROC};
  std::vector<kinfo_proc> table;
  size_t size = 0;
  int result = 0;
  do {  // once more when the table grew meanwhile
    if (sysctl(question, 3, nullptr, &size, nullptr, 0) != 0) return std::nullopt;
    table.resize(size / sizeof(kinfo_proc) + 64);
    size = table.size() * sizeof(kinfo_proc);
    result = sysctl(question, 3, table.data(), &size, nullptr, 0);
  } while (result != 0 && errno == ENOMEM);
  if (result != 0) return std::nullopt;
  table.resize(size / sizeof(kinfo_proc));
  std::vector<pid_t> pids;
  for (const kinfo_proc& info : table) pids.push_back(info.ki_pid);
  return pids;
}

std::optional<CpuTicks> ReadCpuTicks(const std::string&) {
  long ticks[CPUSTATES] = {};
  size_t size = sizeof(ticks);
  if (sysctlbyname("kern.cp_time", ticks, &size, nullptr, 0) != 0 || size != sizeof(ticks)) {
    return std::nullopt;
  }
  CpuTicks result = {.total = 0, .idle = ticks[CP_IDLE]};
  for (const long part : ticks) result.total += part;
  return result;
}

}  // namespace zem
