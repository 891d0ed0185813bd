// SPDX-License-Identifier: BSD-2-Clause
// The log entries of connections as they come. Strangers decide how many those are, so each kind
// passes through a bucket of its own: a flood of rejected ones fills no disk and hides no admitted
// one. What is left out is counted, and the count is logged once a second.
//
// Units:   milliseconds of a clock that never jumps.
// Threads: the main thread.

#ifndef ZEM_CORE_CONNECTION_LOG_H_
#define ZEM_CORE_CONNECTION_LOG_H_

#include <cstdint>
#include <string_view>

#include "core/activity_log.h"
#include "core/monotonic_clock.h"

namespace zem {

class ConnectionLog {
 public:
  using Clock = int64_t (*)();
  explicit ConnectionLog(ActivityLog* log, Clock clock = MonotonicMilliseconds)
      : log_(log), clock_(clock) {}

  void Accepted(uint32_t peer) { Write("TCP connection accepted\n", peer, &accepted_); }
  void Rejected(uint32_t peer) { Write("TCP connection rejected\n", peer, &rejected_); }
  // Admitted, but no thread was to be had for it.
  void Unserved(uint32_t peer) { Write("Error: cannot start session thread\n", peer, &unserved_); }

  // To be called again and again, whether connections come or not.
  void TellLeftOut();

 private:
  // Holds what flows in, a tenth of an entry a millisecond.
  static constexpr int64_t kEntry = 10;
  static constexpr int64_t kFull = 1000 * kEntry;

  struct Bucket {
    LogKind kind;
    const char* name;
    int64_t level = kFull;
    int64_t level_at = 0;
    uint32_t left_out = 0;
    int64_t left_out_since = 0;
  };

  void Write(std::string_view message, uint32_t peer, Bucket* bucket);
  void TellLeftOut(int64_t now, Bucket* bucket);

  ActivityLog* const log_;
  const Clock clock_;
  Bucket accepted_ = {LogKind::kSuccess, "accepted"};
  Bucket rejected_ = {LogKind::kFailure, "rejected"};
  Bucket unserved_ = {LogKind::kFailure, "unserved"};
};

}  // namespace zem

#endif  // ZEM_CORE_CONNECTION_LOG_H_
