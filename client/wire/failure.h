// SPDX-License-Identifier: BSD-2-Clause
// The ways in which an exchange with an agent ends without a usable reply.

#ifndef ZEM_CLIENT_WIRE_FAILURE_H_
#define ZEM_CLIENT_WIRE_FAILURE_H_

#include <cstddef>
#include <string>

namespace zem::client {

enum class FailureKind {
  kNone,
  kResolve,      // the host's name has no address
  kRefused,      // nothing listens there
  kUnreachable,  // any other failure to connect
  kTimeout,      // the time ran out, whatever was going on
  kClosed,       // the agent closed the connection without a reply
  kShortReply,   // ... or in the middle of one
  kUnreadable,   // bytes that are not a reply
  kLocal,        // something on this side
  kNoAnswer,     // a reply that does not tell what was asked for
};

struct Failure {
  FailureKind kind = FailureKind::kNone;
  std::string text;  // one line, what happened
  std::string hint;  // one line, what to look at; may be empty
  // Closed as an agent does that takes connections from here, but not this password.
  bool wrong_password = false;

  explicit operator bool() const { return kind != FailureKind::kNone; }
};

// The stable name of a kind in JSON.
inline const char* FailureName(FailureKind kind) {
  // In the order of the kinds.
  static constexpr const char* kNames[] = {"none",    "resolve",  "refused",     "unreachable",
                                           "timeout", "closed",   "short_reply", "unreadable",
                                           "local",   "no_answer"};
  return kNames[static_cast<size_t>(kind)];
}

}  // namespace zem::client

#endif  // ZEM_CLIENT_WIRE_FAILURE_H_
