// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/password_key.h"

#include "protocol/digest.h"

namespace zem {

PasswordKey::PasswordKey(std::string_view password)
    : digest_(PasswordDigest(password)), schedule_(password) {}

}  // namespace zem
