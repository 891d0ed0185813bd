// SPDX-License-Identifier: BSD-2-Clause
// The signals of the agent. Handlers note what happened; the main thread acts.
//
// Hang-up (daemon mode only): reload the configuration. Segmentation fault and bus error: restart.
// Broken pipe and file-size limit: nothing, but with a handler, since an ignored signal would be
// ignored in child programs too. The hang-up signal is open in the main thread's wait alone, so
// none is lost and none interrupts anything else. A fault is never blocked: a blocked one kills at
// once.

#ifndef ZEM_CORE_SIGNALS_H_
#define ZEM_CORE_SIGNALS_H_

#include <signal.h>

#include "text/ovstring.h"

namespace zem {

// First steps of main: what was inherited must not spoil waiting for children.
void PrepareSignals();

// Both main thread. `wake_fd` gets a byte when a signal needs attention.
void InstallHangUpHandler();
void InstallSignalHandlers(int wake_fd);

// What a session's thread does first: the handled signals are the main thread's.
void BlockSignalsInSession();

// Where the thread that made it handles a fault: one that ran out of stack has no room left for a
// handler. It may be a local of the thread's first function, since that is the end which is never
// overrun. Room for two signals; the memory is touched by a fault alone.
class FaultStack {
 public:
  FaultStack();
  ~FaultStack();
  FaultStack(const FaultStack&) = delete;
  FaultStack& operator=(const FaultStack&) = delete;

 private:
  bool in_use_ = false;
  alignas(16) char bytes_[32 * 1024];
};

// The mask for the main thread's wait, with the hang-up signal open.
const sigset_t& WaitMask();

// Main thread: true once for every batch of signals since the last call.
bool TakeHangUp();

enum class Crash { kNone, kRestart, kTooSoon };
Crash TakeCrash();
// The main thread has logged the crash and goes on to restart; it gets more time for that.
void CrashIsLogged();

// What the last resort executes when the main thread cannot act on a crash: set whenever the
// program path changes, from the main thread. Null pid path = no pid file.
void SetEmergencyRestart(const OvString& program_path, const char* pid_path);

// Puts back what the process was started with, for an exec. A daemon's hang-up signal stays
// blocked until the next start has a handler for it. ReinstallAfterFailedExec undoes it.
void PrepareForExec();
void ReinstallAfterFailedExec();

}  // namespace zem

#endif  // ZEM_CORE_SIGNALS_H_
