// SPDX-License-Identifier: BSD-2-Clause
#include "core/wrong_passwords.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <syslog.h>

#include <algorithm>

#include "core/monotonic_clock.h"

namespace zem {

namespace {

constexpr int64_t kPause = 60'000;

// Opened and closed for each line: nobody else in the agent writes there, and an idle descriptor
// would outlive a restart of the syslog.
void TellSyslog(uint32_t peer) {
  const in_addr address = {peer};
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, text, sizeof(text));
  openlog("zem", LOG_PID, LOG_AUTHPRIV);
  syslog(LOG_AUTHPRIV | LOG_NOTICE, "wrong password from %s", text);
  closelog();
}

}  // namespace

WrongPasswords::WrongPasswords() : WrongPasswords(MonotonicMilliseconds, TellSyslog) {}

void WrongPasswords::Note(uint32_t peer) {
  const int64_t now = clock_();
  MutexLock lock(&lock_);
  const auto same = [peer](const Guesser& guesser) { return guesser.peer == peer; };
  const auto old = [now](const Guesser& guesser) {
    return !guesser.untold && now - guesser.noted_at >= kPause;
  };
  auto place = std::find_if(guessers_.begin(), guessers_.end(), same);
  if (place != guessers_.end() && !old(*place)) return;
  if (place == guessers_.end()) place = std::find_if(guessers_.begin(), guessers_.end(), old);
  if (place == guessers_.end()) {
    if (guessers_.size() == kMostPeers) return;
    place = guessers_.insert(place, Guesser{});
  }
  *place = {.peer = peer, .untold = true, .noted_at = now};
  ++untold_;
}

uint32_t WrongPasswords::TakeUntold() {
  MutexLock lock(&lock_);
  const auto untold = [](const Guesser& guesser) { return guesser.untold; };
  const auto next = std::find_if(guessers_.begin(), guessers_.end(), untold);
  telling_ = next != guessers_.end();
  if (!telling_) return 0;
  next->untold = false;
  --untold_;
  return next->peer;
}

void WrongPasswords::Tell() {
  {
    MutexLock lock(&lock_);
    if (telling_ || untold_ == 0) return;
    telling_ = true;
  }
  while (const uint32_t peer = TakeUntold()) teller_(peer);
}

}  // namespace zem
