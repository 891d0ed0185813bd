// SPDX-License-Identifier: BSD-2-Clause
// The key a request brings along: its bytes and, once first needed, their key schedule.
//
// A request, its reply and an upgrade that it starts share one object, so the costly key set-up
// happens once. Nothing outlives the session: the bytes are wiped with the last holder.
// Threads: one session's; never shared between sessions.

#ifndef ZEM_PROTOCOL_SESSION_KEY_H_
#define ZEM_PROTOCOL_SESSION_KEY_H_

#include <memory>
#include <optional>

#include "protocol/cipher.h"
#include "text/ovstring.h"

namespace zem {

class SessionKey {
 public:
  explicit SessionKey(OvString text) : text_(std::move(text)) {}
  ~SessionKey() { text_.Wipe(); }
  SessionKey(const SessionKey&) = delete;
  SessionKey& operator=(const SessionKey&) = delete;

  const OvString& Text() const { return text_; }
  const Cipher& Schedule();

 private:
  OvString text_;
  std::optional<Cipher> schedule_;
};

using SessionKeyPtr = std::shared_ptr<SessionKey>;

// The key takes the bytes over: no other copy of them stays behind.
SessionKeyPtr MakeSessionKey(OvString text);

}  // namespace zem

#endif  // ZEM_PROTOCOL_SESSION_KEY_H_
