// SPDX-License-Identifier: BSD-2-Clause
// What the shared password gives every request packet: its digest and its key schedule.
//
// Made once for a password, not once for a request: setting up the key is the costliest step of
// reading a packet.
// Threads: constant once made; any number of sessions share one.

#ifndef ZEM_PROTOCOL_PASSWORD_KEY_H_
#define ZEM_PROTOCOL_PASSWORD_KEY_H_

#include <memory>
#include <string_view>

#include "protocol/cipher.h"
#include "text/ovstring.h"

namespace zem {

class PasswordKey {
 public:
  explicit PasswordKey(std::string_view password);
  ~PasswordKey() { digest_.Wipe(); }
  PasswordKey(const PasswordKey&) = delete;
  PasswordKey& operator=(const PasswordKey&) = delete;

  const OvString& Digest() const { return digest_; }
  const Cipher& Schedule() const { return schedule_; }

 private:
  OvString digest_;
  const Cipher schedule_;
};

using PasswordKeyPtr = std::shared_ptr<const PasswordKey>;

}  // namespace zem

#endif  // ZEM_PROTOCOL_PASSWORD_KEY_H_
