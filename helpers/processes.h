// SPDX-License-Identifier: BSD-2-Clause
// What the system tells of its processes and processors. Each process is read by itself, from the
// kernel's record of that process alone: whatever a process puts into its name and its arguments,
// it cannot write into the record of another one.
//
// Shapes:  `root` is the folder of the process file system where the system has one; elsewhere the
//          kernel is asked directly and `root` is not looked at.
// Threads: one at a time.

#ifndef ZEM_HELPERS_PROCESSES_H_
#define ZEM_HELPERS_PROCESSES_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zem {

// A name that fills this many bytes may have been cut by the kernel.
extern const size_t kKernelNameLength;

// More of a command line is not read: a process can have it as long as its memory.
inline constexpr size_t kMostArguments = size_t{256} * 1024;

struct Process {
  pid_t parent = 0;
  bool running = false;   // no zombie, and on a FreeBSD host not in a jail
  bool kernel = false;    // the kernel's own; its name is whole
  std::string name;       // as the kernel keeps it: any bytes
  std::string arguments;  // separated by zero bytes; empty when there is none with a byte in it
};

enum class Reading { kDone, kGone, kFailed };  // kGone: ended meanwhile, which is normal

// Nothing when some processes may be hidden from this user.
std::optional<std::vector<pid_t>> ListProcesses(const std::string& root);
Reading ReadProcess(const std::string& root, pid_t pid, Process* process);

// Ticks of all processors since the system's start. Waiting for a disk is idle time.
struct CpuTicks {
  int64_t total = 0;
  int64_t idle = 0;
};
std::optional<CpuTicks> ReadCpuTicks(const std::string& root);

}  // namespace zem

#endif  // ZEM_HELPERS_PROCESSES_H_
