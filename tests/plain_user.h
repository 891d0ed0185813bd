// SPDX-License-Identifier: BSD-2-Clause
// The superuser may do everything: what permissions forbid shows to an ordinary user alone.

#ifndef ZEM_TESTS_PLAIN_USER_H_
#define ZEM_TESTS_PLAIN_USER_H_

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

namespace zem {

// Runs checks as a user whom permissions bind, in a process of their own: the superuser becomes
// another user there. True when every expectation held.
inline bool HoldsForPlainUser(const std::function<void()>& checks) {
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(3);
    checks();
    fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

// The same for the rest of a block, in this process: open files and results stay.
class AsOrdinaryUser {
 public:
  AsOrdinaryUser() : changed_(geteuid() == 0 && seteuid(65534) == 0) {}
  ~AsOrdinaryUser() {
    if (changed_ && seteuid(0) != 0) abort();
  }

 private:
  const bool changed_;
};

}  // namespace zem

#endif  // ZEM_TESTS_PLAIN_USER_H_
