// SPDX-License-Identifier: BSD-2-Clause
#include "wire/failure.h"

namespace zem::client {

const char* FailureName(FailureKind kind) {
  switch (kind) {
    case FailureKind::kNone:
      return "none";
    case FailureKind::kResolve:
      return "resolve";
    case FailureKind::kRefused:
      return "refused";
    case FailureKind::kUnreachable:
      return "unreachable";
    case FailureKind::kTimeout:
      return "timeout";
    case FailureKind::kClosed:
      return "closed";
    case FailureKind::kShortReply:
      return "short_reply";
    case FailureKind::kUnreadable:
      return "unreadable";
    case FailureKind::kLocal:
      return "local";
  }
  return "unknown";
}

}  // namespace zem::client
