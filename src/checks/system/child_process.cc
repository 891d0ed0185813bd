// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/child_process.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "checks/system/temp_names.h"
#include "core/inherited_state.h"
#include "core/unique_fd.h"
#include "text/system_error.h"

namespace zem {

namespace {

constexpr const char* kNullDevice = "/dev/null";
constexpr const char* kExecError = "exec error: ";

// Async-signal-safe, as all that follows.
void OpenStream(const char* path, int flags, int stream) {
  // What the agent makes is no link, so a link under the name is somebody else's.
  int fd = path == nullptr ? -1 : open(path, flags | O_NOFOLLOW, 0666);
  if (fd < 0) fd = open(kNullDevice, flags & O_ACCMODE);
  if (fd < 0 || fd == stream) return;
  dup2(fd, stream);
  close(fd);
}

void OpenStreams(const ChildPlan& plan) {
  // Output is appended to a file made empty: standard output and standard error may share it, and
  // each has a position of its own.
  constexpr int kOutputFlags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND;
  OpenStream(plan.input_file, O_RDONLY, STDIN_FILENO);
  OpenStream(plan.output_file, kOutputFlags, STDOUT_FILENO);
  OpenStream(plan.error_file, kOutputFlags, STDERR_FILENO);
}

// Returns only when the program cannot be executed, with errno set.
void Execute(char* const* words) {
  if (words[0] == nullptr) {
    errno = ENOENT;
    return;
  }
  // "Text file busy" passes: between its fork and its exec the child of another thread holds a
  // copy of the descriptor through which the script has just been written.
  constexpr int kMostRetries = 50;
  constexpr timespec kRetryPause = {0, 10'000'000};
  for (int retries = 0;; ++retries) {
    // Not on the list of async-signal-safe calls, yet it only reads PATH and calls execve; the
    // search along PATH is wanted.
    execvp(words[0], words);
    if (errno != ETXTBSY || retries == kMostRetries) return;
    nanosleep(&kRetryPause, nullptr);
  }
}

void LeaveReason(const char* path, int error_number) {
  const int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  if (fd < 0) return;
  char buffer[1024];
  // strerror_r, the other exception. The C library may look for texts in other languages the first
  // time, under a lock that another thread could hold at the fork: main makes that first call.
  const char* text = SystemErrorText(error_number, buffer, sizeof(buffer));
  // A short or failed write leaves the parent with less of a text.
  (void)(WriteAll(fd, kExecError) && WriteAll(fd, text));
  close(fd);
}

[[noreturn]] void RunChild(const ChildPlan& plan, const InheritedState& inherited) {
  inherited.Restore(HangUp::kAsInherited);
  if (plan.on_its_own) {
    setsid();
    OpenStreams(plan);
  }
  if (plan.working_directory != nullptr && chdir(plan.working_directory) != 0) {
    // Deliberate: a bad folder is not reported, the program runs in the agent's own.
  }
  const char* reason_path = "";
  if (plan.failure_file != nullptr) {
    plan.failure_file->Complete(getpid());
    reason_path = plan.failure_file->Path();
  }
  if (*reason_path != '\0') unlink(reason_path);  // left by an earlier process of this number
  Execute(plan.words);
  if (*reason_path != '\0') LeaveReason(reason_path, errno);
  _exit(plan.failure_status);
}

}  // namespace

ExecFailureFile::ExecFailureFile() {
  (void)MakeTempPrefix(path_, sizeof(path_));  // empty is an answer too
}

void ExecFailureFile::Complete(pid_t child) {
  if (path_[0] == '\0') return;
  char digits[12];
  char* first = digits + sizeof(digits) - 1;
  *first = '\0';
  for (; child > 0; child /= 10) *--first = static_cast<char>('0' + child % 10);
  AppendBounded(path_, sizeof(path_), "tmpSzem-");
  AppendBounded(path_, sizeof(path_), first);
  AppendBounded(path_, sizeof(path_), ".txt");
}

pid_t StartChild(const ChildPlan& plan) {
  const InheritedState& inherited = InheritedState::Get();
  fflush(stdout);  // the child must not inherit unwritten text
  const pid_t child = fork();
  if (child == 0) RunChild(plan, inherited);
  return child;
}

}  // namespace zem
