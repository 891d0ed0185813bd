// SPDX-License-Identifier: BSD-2-Clause
#include "core/signals.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>

#include "core/inherited_state.h"
#include "core/platform.h"

namespace zem {

namespace {

constexpr time_t kShortestLife = 181;  // seconds between two restarts after a crash
// Seconds the main thread has to notice a crash. It may be waiting in good order: five seconds for
// replies under way, up to six for a port. Cut short there, a crash would lose both its log
// entries.
constexpr unsigned kPatience = 7;
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
// A wild pointer raises the one or the other, by system and address: a crash is a crash.
struct Fault {
  int number;
  struct sigaction earlier;
} faults[] = {{SIGSEGV, {}}, {SIGBUS, {}}};

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

void SetFaultHandlers(void (*handler)(int)) {
  for (const Fault& fault : faults) SetHandler(fault.number, handler);
}

void ChangeMask(int how, std::initializer_list<int> numbers) {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : numbers) sigaddset(&set, number);
  pthread_sigmask(how, &set, nullptr);
}

void OnHangUp(int) {
  hang_up_seen.store(true);
}

// For a pipe without a reader and a file at its size limit: the write that met it reports it.
void OnFailedWrite(int) {}

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
  ChangeMask(SIG_UNBLOCK, {SIGSEGV});
  kill(getpid(), SIGSEGV);
}

[[noreturn]] void ParkForGood() {
  ChangeMask(SIG_UNBLOCK, {SIGALRM});
  for (;;) pause();
}

// True when the fault is reported by whoever handled it before, a sanitizer.
bool LeftToEarlierHandler(int number, siginfo_t* info, void* context) {
  for (const Fault& fault : faults) {
    if (fault.number != number) continue;
    if ((fault.earlier.sa_flags & SA_SIGINFO) == 0) return false;
    if (fault.earlier.sa_sigaction == nullptr) return false;
    fault.earlier.sa_sigaction(number, info, context);
    return true;
  }
  return false;
}

// A sent signal returns to what it interrupted. The thread of a real fault parks: returning would
// fault again, and ending the thread would leave its locks and its session in the air.
void OnFault(int number, siginfo_t* info, void* context) {
  const int saved = errno;
  const bool own_fault = IsOwnFault(*info);
  if (own_fault && LeftToEarlierHandler(number, info, context)) return;
  SetFaultHandlers(SIG_DFL);
  if (time(nullptr) - last_restart.load() < kShortestLife) {
    crash_mark.store(kCrashTooSoon);
    Wake();
    errno = saved;
    return;  // a real fault then recurs and ends the process
  }
  crash_mark.store(kCrashRestart);
  SetFaultHandlers(SIG_IGN);
  alarm(kPatience);
  Wake();
  if (own_fault) ParkForGood();
  errno = saved;
}

void InstallFaultHandlers() {
  struct sigaction action;
  memset(&action, 0, sizeof(action));
  action.sa_sigaction = OnFault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (Fault& fault : faults) {
    struct sigaction earlier;
    sigaction(fault.number, &action, &earlier);
    if (earlier.sa_sigaction != OnFault) fault.earlier = earlier;
  }
}

void InstallHandlers() {
  InstallFaultHandlers();
  SetHandler(SIGPIPE, OnFailedWrite);
  SetHandler(SIGXFSZ, OnFailedWrite);
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
  ChangeMask(SIG_BLOCK, {SIGHUP});
  sigdelset(&wait_mask, SIGHUP);
  InheritedState::Mutable().ForgetBlockedHangUp();
}

void InstallSignalHandlers(int wake_fd) {
  wake_up_fd.store(wake_fd);
  InstallHandlers();
  ChangeMask(SIG_UNBLOCK, {SIGALRM, SIGSEGV, SIGBUS});
  for (const int number : {SIGALRM, SIGSEGV, SIGBUS}) sigdelset(&wait_mask, number);
}

void BlockSignalsInSession() {
  ChangeMask(SIG_BLOCK, {SIGHUP, SIGPIPE, SIGXFSZ, SIGALRM});
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
  InheritedState::Get().Restore(handles_hang_up ? HangUp::kBlocked : HangUp::kAsInherited);
}

void ReinstallAfterFailedExec() {
  SetHandler(SIGCHLD, SIG_DFL);
  crash_mark.store(kNoCrash);
  InstallHandlers();
  // Last, and in one go: a hang-up that came meanwhile waits for the handler and is served.
  sigset_t mask = wait_mask;
  if (handles_hang_up) sigaddset(&mask, SIGHUP);
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

}  // namespace zem
