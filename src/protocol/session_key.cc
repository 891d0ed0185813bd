// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/session_key.h"

#include <utility>

namespace zem {

const Cipher& SessionKey::Schedule() {
  if (!schedule_) schedule_.emplace(text_.View());
  return *schedule_;
}

SessionKeyPtr MakeSessionKey(OvString text) {
  return std::make_shared<SessionKey>(std::move(text));
}

}  // namespace zem
