// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/digest.h"

#include <nettle/memops.h>
#include <nettle/sha1.h>

namespace zem {

namespace {

const uint8_t* Bytes(std::string_view text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}

}  // namespace

Sha1Digest Sha1(std::string_view bytes) {
  sha1_ctx context;
  sha1_init(&context);
  sha1_update(&context, bytes.size(), Bytes(bytes));
  Sha1Digest digest;
  sha1_digest(&context, digest.size(), digest.data());
  return digest;
}

OvString PasswordDigest(std::string_view password) {
  if (password.empty()) return {};
  RunningMd5 md5;
  md5.Update(password);
  return md5.Finish();
}

bool EqualSecrets(std::string_view a, std::string_view b) {
  return a.size() == b.size() && (a.empty() || memeql_sec(a.data(), b.data(), a.size()) != 0);
}

}  // namespace zem
