// SPDX-License-Identifier: BSD-2-Clause
#include "core/inherited_state.h"

#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <cstring>

extern char** environ;

namespace zem {

namespace {

void PointInto(std::vector<std::string>* texts, std::vector<char*>* pointers) {
  for (std::string& text : *texts) pointers->push_back(text.data());
  pointers->push_back(nullptr);
}

}  // namespace

InheritedState& InheritedState::Mutable() {
  // Never destroyed: children and the crash road may need it while the process ends.
  static InheritedState& state = *new InheritedState;
  return state;
}

const InheritedState& InheritedState::Get() {
  return Mutable();
}

void InheritedState::Capture(int argc, char** argv) {
  InheritedState& state = Mutable();
  state.arguments_.assign(argv, argv + argc);
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    state.environment_.emplace_back(*entry);
  }
  PointInto(&state.arguments_, &state.argument_pointers_);
  PointInto(&state.environment_, &state.environment_pointers_);
  pthread_sigmask(SIG_SETMASK, nullptr, &state.mask_);
  sigaction(SIGHUP, nullptr, &state.hang_up_);
  getrlimit(RLIMIT_NOFILE, &state.descriptor_limit_);
}

void InheritedState::Restore(HangUp hang_up) const {
  struct sigaction standard;
  memset(&standard, 0, sizeof(standard));
  standard.sa_handler = SIG_DFL;
  sigemptyset(&standard.sa_mask);
  for (const int number : {SIGPIPE, SIGXFSZ, SIGSEGV, SIGBUS, SIGALRM, SIGCHLD}) {
    sigaction(number, &standard, nullptr);
  }
  sigaction(SIGHUP, &hang_up_, nullptr);
  if (descriptor_limit_.rlim_max != 0) setrlimit(RLIMIT_NOFILE, &descriptor_limit_);
  sigset_t mask = mask_;
  if (hang_up == HangUp::kBlocked) sigaddset(&mask, SIGHUP);
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

}  // namespace zem
