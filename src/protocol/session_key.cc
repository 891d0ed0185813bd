// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/session_key.h"

namespace zem {

const Cipher& SessionKey::Schedule() {
  if (!schedule_) schedule_.emplace(text_.View());
  return *schedule_;
}

SessionKeyPtr MakeSessionKey(std::string_view text) {
  return std::make_shared<SessionKey>(text);
}

}  // namespace zem
