// SPDX-License-Identifier: BSD-2-Clause
// The one road from fork to exec.
//
// Everything the child needs is ready before the fork: another thread may hold any lock at that
// moment, so the child makes async-signal-safe calls only and leaves by _exit. It starts with the
// signal mask, the actions and the descriptor limit that the agent itself was started with.
// Threads: any.

#ifndef ZEM_CHECKS_SYSTEM_CHILD_PROCESS_H_
#define ZEM_CHECKS_SYSTEM_CHILD_PROCESS_H_

#include <sys/types.h>

namespace zem {

// Where a child whose exec fails leaves the reason. The name holds the child's process id, so the
// child completes its copy after the fork and the parent its own.
class ExecFailureFile {
 public:
  ExecFailureFile();
  // Async-signal-safe.
  void Complete(pid_t child);
  // Empty when the temporary directory leaves no room for a name.
  const char* Path() const { return path_; }

 private:
  char path_[1024];
};

struct ChildPlan {
  char* const* words = nullptr;  // for execvp; an empty vector fails as a missing file does
  int failure_status = 255;      // the child's exit status when it cannot execute

  // A child of its own leads a session and a process group and has its streams on files. A null
  // path, and one that cannot be opened, means /dev/null. The others inherit all of that.
  bool on_its_own = false;
  const char* input_file = nullptr;
  const char* output_file = nullptr;
  const char* error_file = nullptr;
  const char* working_directory = nullptr;  // null = the agent's
  ExecFailureFile* failure_file = nullptr;  // null = no reason is left
};

// The child's process id, or -1 with errno set. The caller waits for the child.
pid_t StartChild(const ChildPlan& plan);

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_CHILD_PROCESS_H_
