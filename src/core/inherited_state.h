// SPDX-License-Identifier: BSD-2-Clause
// What the process was started with, to be handed on to whatever it executes.
//
// The agent changes its signal mask, some signal actions and its descriptor limit for its own
// sake; a child program or the agent's next self must not notice. The arguments and the
// environment are copied before anything is changed, so the agent's own TMPDIR does not leak into
// a restart.
// Threads: captured by main before any other thread; constant afterwards.

#ifndef ZEM_CORE_INHERITED_STATE_H_
#define ZEM_CORE_INHERITED_STATE_H_

#include <signal.h>
#include <sys/resource.h>

#include <string>
#include <vector>

namespace zem {

// What becomes of the hang-up signal's mask: a daemon's next self has it blocked until it has a
// handler.
enum class HangUp { kAsInherited, kBlocked };

class InheritedState {
 public:
  // First thing in main, and only there.
  static void Capture(int argc, char** argv);
  static const InheritedState& Get();

  // Vectors for execve, ending in a null pointer.
  char* const* Arguments() const { return argument_pointers_.data(); }
  char* const* Environment() const { return environment_pointers_.data(); }

  // Puts the mask, the actions and the descriptor limit back. Only async-signal-safe calls: for
  // the child of a fork and for the moment before an exec.
  void Restore(HangUp hang_up) const;

  // The hang-up signal belongs to the daemon once it is handled: children get it open.
  void ForgetBlockedHangUp() { sigdelset(&mask_, SIGHUP); }
  static InheritedState& Mutable();

 private:
  std::vector<std::string> arguments_;
  std::vector<std::string> environment_;
  std::vector<char*> argument_pointers_;
  std::vector<char*> environment_pointers_;
  sigset_t mask_ = {};
  struct sigaction hang_up_ = {};
  rlimit descriptor_limit_ = {};
};

}  // namespace zem

#endif  // ZEM_CORE_INHERITED_STATE_H_
