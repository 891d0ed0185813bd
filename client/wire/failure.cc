// SPDX-License-Identifier: BSD-2-Clause
#include "wire/failure.h"

#include <cstddef>

namespace zem::client {

const char* FailureName(FailureKind kind) {
  // In the order of the kinds.
  static constexpr const char* kNames[] = {"none",    "resolve",  "refused",     "unreachable",
                                           "timeout", "closed",   "short_reply", "unreadable",
                                           "local",   "no_answer"};
  return kNames[static_cast<size_t>(kind)];
}

}  // namespace zem::client
