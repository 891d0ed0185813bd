// SPDX-License-Identifier: BSD-2-Clause
// The moment by which everything about one host is over. Every wait of the client asks it.

#ifndef ZEM_CLIENT_WIRE_DEADLINE_H_
#define ZEM_CLIENT_WIRE_DEADLINE_H_

#include <algorithm>
#include <chrono>

namespace zem::client {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

class Deadline {
 public:
  explicit Deadline(Milliseconds from_now) : end_(Clock::now() + from_now) {}

  // Never below 0. Rounded up, so that a wait for the rest does not end just before its end.
  Milliseconds Left() const {
    const auto left = std::chrono::ceil<Milliseconds>(end_ - Clock::now());
    return std::max(left, Milliseconds(0));
  }
  bool HasPassed() const { return Clock::now() >= end_; }
  // For poll.
  int PollTimeout() const {
    constexpr Milliseconds kLongest{60'000};
    return static_cast<int>(std::min(Left(), kLongest).count());
  }
  // A deadline at most `from_now` away that never lies behind this one.
  Deadline Within(Milliseconds from_now) const { return Deadline(std::min(from_now, Left())); }

 private:
  Clock::time_point end_;
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_WIRE_DEADLINE_H_
