// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/process_runner.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <optional>
#include <utility>
#include <vector>

#include "checks/system/child_process.h"
#include "checks/system/command_words.h"
#include "checks/system/pause.h"
#include "core/mutex.h"
#include "core/unique_fd.h"
#include "text/file_info.h"

namespace zem {

namespace {

constexpr const char* kForkError = "fork error";
constexpr const char* kExecError = "exec error";
constexpr const char* kAbnormalTermination = "abnormal termination";
constexpr const char* kCannotTerminate = "cannot terminate process";

constexpr int kExecFailureStatus = 255;
constexpr int kLongestReason = 254;
constexpr int64_t kLongestPollMs = 1000;

bool Fail(OvString* error, std::string_view text) {
  *error = text;
  return false;
}

// Blocks, or asks once. True when the child has ended, and was reaped, or is none of ours.
bool HasEnded(pid_t child, bool block, int* status) {
  for (;;) {
    const pid_t ended = waitpid(child, status, block ? 0 : WNOHANG);
    if (ended == 0) return false;
    if (ended == child) return true;
    if (errno != EINTR) {
      *status = SIGKILL;  // nothing is known but that it is gone
      return true;
    }
  }
}

// Children that nobody waits for: those that were started without waiting and run on, and those
// that could be neither killed nor waited for, which belong to another user by now.
class LeftChildren {
 public:
  void Add(pid_t child) {
    MutexLock lock(&lock_);
    children_.push_back(child);
  }
  void Reap() {
    MutexLock lock(&lock_);
    std::erase_if(children_, [](pid_t child) {
      int status = 0;
      return HasEnded(child, false, &status);
    });
  }

 private:
  Mutex lock_;
  std::vector<pid_t> children_ ZEM_GUARDED_BY(lock_);
};

LeftChildren& Left() {
  static LeftChildren& left = *new LeftChildren;  // never destroyed: sessions outlive main
  return left;
}

// Takes away the reason that a child of ours left, and returns it; nothing when there is none. The
// name can be foreseen, and the folder may be open to everybody: a file of another user, a link or
// a pipe under it is no child's.
std::optional<OvString> TakeReason(const char* path) {
  struct stat info;
  if (!LinkStatPath(path, &info) || !S_ISREG(info.st_mode) || info.st_uid != geteuid()) {
    return std::nullopt;
  }
  OvString reason;
  const UniqueFd fd(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (fd.IsOpen()) {
    char text[kLongestReason];
    const ssize_t length = read(fd.Get(), text, sizeof(text));
    const std::string_view all(text, length > 0 ? static_cast<size_t>(length) : 0);
    reason = all.substr(0, all.find('\n'));
  }
  (void)RemoveFile(path);
  return reason;
}

// The reason of a child that failed to execute. One that was killed may have left it just before.
std::optional<OvString> ReasonFor(int status, const char* path) {
  const bool failed = WIFEXITED(status) && WEXITSTATUS(status) == kExecFailureStatus;
  if (!failed && !WIFSIGNALED(status)) return std::nullopt;
  std::optional<OvString> reason = TakeReason(path);
  return failed ? std::move(reason) : std::nullopt;
}

bool ReportEnd(int status, const char* reason_path, int32_t* exit_code, OvString* error) {
  const std::optional<OvString> reason = ReasonFor(status, reason_path);
  if (!WIFEXITED(status)) return Fail(error, kAbnormalTermination);
  // On a full disk the file is there and says nothing.
  if (reason.has_value()) return Fail(error, reason->IsEmpty() ? kExecError : reason->View());
  *exit_code = WEXITSTATUS(status);
  return true;
}

// Gives the program one second to fail.
bool LookOnce(pid_t child, const char* reason_path, int32_t* exit_code, OvString* error) {
  *exit_code = 0;
  PauseMilliseconds(1000);
  int status = 0;
  if (!HasEnded(child, false, &status)) {
    Left().Add(child);
    return true;
  }
  if (ReasonFor(status, reason_path).has_value()) return Fail(error, kExecError);
  *exit_code = status >> 8;  // deliberate: an end by a signal reads as 0 here
  return true;
}

timespec Now() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now;
}

// Counted from the start itself, not between two readings of a clock cut to seconds: looking more
// often than once a second, those would end a program up to a second early.
int64_t WholeSecondsSince(const timespec& start) {
  const timespec now = Now();
  return int64_t{now.tv_sec} - start.tv_sec - (now.tv_nsec < start.tv_nsec ? 1 : 0);
}

// Kills the whole group, then the child, which may not lead a group yet; what became of the child
// decides. Neither is reaped so far, so both numbers still mean what they meant.
bool Kill(pid_t child) {
  (void)kill(-child, SIGKILL);
  return kill(child, SIGKILL) == 0;
}

bool WaitWithLimit(pid_t child, int32_t timeout_ms, const char* reason_path, int32_t* exit_code,
                   OvString* error) {
  const timespec start = Now();
  int64_t pause_ms = 1;
  int status = 0;
  bool block = timeout_ms == 0;
  while (!HasEnded(child, block, &status)) {
    // Deliberate: whole seconds count, and they must exceed the limit, so a limit of 8,000 ms ends
    // the program after 9 seconds and one of 500 after 1. A limit below 0 has passed already.
    if (WholeSecondsSince(start) * 1000 > timeout_ms) {
      if (!Kill(child)) {
        Left().Add(child);
        return Fail(error, kCannotTerminate);
      }
      block = true;  // it is about to end
    } else {
      PauseMilliseconds(pause_ms);
      pause_ms = std::min(pause_ms * 2, kLongestPollMs);
    }
  }
  return ReportEnd(status, reason_path, exit_code, error);
}

}  // namespace

void ReapLeftPrograms() {
  Left().Reap();
}

bool RunProcess(const ProgramRun& run, int32_t* exit_code, OvString* error) {
  const CommandWords words(run.command_line);
  error->Clear();
  ReapLeftPrograms();
  ExecFailureFile failure_file;
  const pid_t child = StartChild({.words = words.Vector(),
                                  .failure_status = kExecFailureStatus,
                                  .on_its_own = true,
                                  .input_file = run.input_file,
                                  .output_file = run.output_file,
                                  .error_file = run.error_file,
                                  .working_directory = run.working_directory,
                                  .failure_file = &failure_file});
  if (child < 0) return Fail(error, kForkError);
  failure_file.Complete(child);
  if (run.timeout_ms == kDoNotWait) return LookOnce(child, failure_file.Path(), exit_code, error);
  return WaitWithLimit(child, run.timeout_ms, failure_file.Path(), exit_code, error);
}

bool RunQuietProcess(ProgramRun run, int32_t* exit_code, OvString* error) {
  run.input_file = run.output_file = run.error_file = nullptr;
  return RunProcess(run, exit_code, error);
}

}  // namespace zem
