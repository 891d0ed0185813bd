// SPDX-License-Identifier: BSD-2-Clause
#include "core/signals.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/inherited_state.h"
#include "core/platform.h"

namespace zem {

namespace {

constexpr time_t kShortestLife = 181;  // seconds between two restarts after a crash
constexpr unsigned kPatience = 3;      // seconds the main thread has to notice a crash
constexpr unsigned kRestartTime = 12;  // and then to restart: it may wait for replies under way

enum CrashMark : int { kNoCrash, kCrashRestart, kCrashTooSoon, kCrashServed };

std::atomic<bool> hang_up_seen{false};
std::atomic<int> crash_mark{kNoCrash};
std::atomic<int> wake_up_fd{-1};
std::atomic<const char*> emergency_program{nullptr};
std::atomic<const char*> emergency_pid_file{nullptr};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<const char*>::is_always_lock_free);

// Deliberate: nothing ever sets it, so the guard it serves never holds a restart back. The agent
// is meant to come back after every crash; the guard is kept for a day when it is not.
std::atomic<time_t> last_restart{0};

// Main thread only.
bool handles_hang_up = false;
sigset_t wait_mask;
struct sigaction earlier_fault_action;

struct sigaction Action(void (*handler)(int)) {
  struct sigaction action;
  memset(&action, 0, sizeof(action));
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  return action;
}

void SetHandler(int number, void (*handler)(int)) {
  const struct sigaction action = Action(handler);
  sigaction(number, &action, nullptr);
}

sigset_t SetOf(int number) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, number);
  return set;
}

void OnHangUp(int) {
  hang_up_seen.store(true);
}

void OnBrokenPipe(int) {}

void Wake() {
  const char byte = 0;
  const int fd = wake_up_fd.load();
  if (fd >= 0) (void)!write(fd, &byte, 1);
}

// The last resort: the main thread had its time and did not act, because it is the one that
// faulted or waits for a lock that the parked thread holds. Async-signal-safe calls only.
void OnAlarm(int) {
  const int mark = crash_mark.load();
  if (mark != kCrashRestart && mark != kCrashServed) return;
  const char* program = emergency_program.load();
  const char* pid_file = emergency_pid_file.load();
  if (program == nullptr) return;
  if (pid_file != nullptr) unlink(pid_file);
  PrepareForExec();
  const InheritedState& inherited = InheritedState::Get();
  execve(program, inherited.Arguments(), inherited.Environment());
  // Nothing is left that could serve, and a process that only hangs looks alive to its keeper. So
  // it ends as the fault alone would have ended it.
  const sigset_t fault_only = SetOf(SIGSEGV);
  pthread_sigmask(SIG_UNBLOCK, &fault_only, nullptr);
  kill(getpid(), SIGSEGV);
}

[[noreturn]] void ParkForGood() {
  const sigset_t alarm_only = SetOf(SIGALRM);
  pthread_sigmask(SIG_UNBLOCK, &alarm_only, nullptr);
  for (;;) pause();
}

// A sent signal returns to what it interrupted. The thread of a real fault parks: returning would
// fault again, and ending the thread would leave its locks and its session in the air.
void OnSegmentationFault(int, siginfo_t* info, void* context) {
  const int saved = errno;
  const bool own_fault = IsOwnFault(*info);
  if (own_fault && (earlier_fault_action.sa_flags & SA_SIGINFO) != 0 &&
      earlier_fault_action.sa_sigaction != nullptr) {
    earlier_fault_action.sa_sigaction(SIGSEGV, info, context);  // a sanitizer reports it
    return;
  }
  SetHandler(SIGSEGV, SIG_DFL);
  if (time(nullptr) - last_restart.load() < kShortestLife) {
    crash_mark.store(kCrashTooSoon);
    Wake();
    errno = saved;
    return;  // a real fault then recurs and ends the process
  }
  crash_mark.store(kCrashRestart);
  SetHandler(SIGSEGV, SIG_IGN);
  alarm(kPatience);
  Wake();
  if (own_fault) ParkForGood();
  errno = saved;
}

void InstallFaultHandler() {
  struct sigaction action;
  memset(&action, 0, sizeof(action));
  action.sa_sigaction = OnSegmentationFault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  struct sigaction earlier;
  sigaction(SIGSEGV, &action, &earlier);
  if (earlier.sa_sigaction != OnSegmentationFault) earlier_fault_action = earlier;
}

void InstallHandlers() {
  InstallFaultHandler();
  SetHandler(SIGPIPE, OnBrokenPipe);
  SetHandler(SIGALRM, OnAlarm);
  if (handles_hang_up) SetHandler(SIGHUP, OnHangUp);
}

}  // namespace

void PrepareSignals() {
  SetHandler(SIGCHLD, SIG_DFL);
  pthread_sigmask(SIG_SETMASK, nullptr, &wait_mask);
}

void InstallHangUpHandler() {
  handles_hang_up = true;
  SetHandler(SIGHUP, OnHangUp);
  const sigset_t hang_up = SetOf(SIGHUP);
  pthread_sigmask(SIG_BLOCK, &hang_up, nullptr);
  sigdelset(&wait_mask, SIGHUP);
  InheritedState::Mutable().ForgetBlockedHangUp();
}

void InstallSignalHandlers(int wake_fd) {
  wake_up_fd.store(wake_fd);
  InstallHandlers();
  const sigset_t alarm_only = SetOf(SIGALRM);
  pthread_sigmask(SIG_UNBLOCK, &alarm_only, nullptr);
  const sigset_t fault_only = SetOf(SIGSEGV);
  pthread_sigmask(SIG_UNBLOCK, &fault_only, nullptr);
  sigdelset(&wait_mask, SIGALRM);
  sigdelset(&wait_mask, SIGSEGV);
}

void BlockSignalsInSession() {
  sigset_t handled;
  sigemptyset(&handled);
  for (const int number : {SIGHUP, SIGPIPE, SIGALRM}) sigaddset(&handled, number);
  pthread_sigmask(SIG_BLOCK, &handled, nullptr);
}

FaultStack::FaultStack() {
  stack_t present = {};
  sigaltstack(nullptr, &present);
  if ((present.ss_flags & SS_DISABLE) == 0) return;  // a sanitizer brought its own
  stack_t own = {};
  own.ss_sp = bytes_;
  own.ss_size = sizeof(bytes_);
  in_use_ = sigaltstack(&own, nullptr) == 0;
}

FaultStack::~FaultStack() {
  if (!in_use_) return;
  stack_t none = {};
  none.ss_flags = SS_DISABLE;
  sigaltstack(&none, nullptr);
}

const sigset_t& WaitMask() {
  return wait_mask;
}

bool TakeHangUp() {
  return hang_up_seen.exchange(false);
}

Crash TakeCrash() {
  switch (crash_mark.load()) {
    case kCrashRestart:
      return Crash::kRestart;
    case kCrashTooSoon:
      crash_mark.store(kNoCrash);
      return Crash::kTooSoon;
    default:
      return Crash::kNone;
  }
}

void CrashIsLogged() {
  crash_mark.store(kCrashServed);
  alarm(kRestartTime);
}

void SetEmergencyRestart(const OvString& program_path, const char* pid_path) {
  emergency_pid_file.store(pid_path);
  const char* present = emergency_program.load();
  if (present != nullptr && program_path == present) return;
  // The old text is left alone: a handler on another thread may be reading it.
  emergency_program.store(strdup(program_path.CStr()));
}

void PrepareForExec() {
  alarm(0);
  const sigset_t hang_up = SetOf(SIGHUP);
  InheritedState::Get().Restore(handles_hang_up ? &hang_up : nullptr);
}

void ReinstallAfterFailedExec() {
  const sigset_t mask = wait_mask;
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  if (handles_hang_up) {
    const sigset_t hang_up = SetOf(SIGHUP);
    pthread_sigmask(SIG_BLOCK, &hang_up, nullptr);
  }
  SetHandler(SIGCHLD, SIG_DFL);
  crash_mark.store(kNoCrash);
  InstallHandlers();
}

}  // namespace zem
