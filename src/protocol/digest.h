// SPDX-License-Identifier: BSD-2-Clause
// The digests of the protocol.
//
// Threads: any; a running digest belongs to one thread at a time.

#ifndef ZEM_PROTOCOL_DIGEST_H_
#define ZEM_PROTOCOL_DIGEST_H_

#include <nettle/md5.h>
#include <nettle/sha2.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/ovstring.h"

namespace zem {

inline constexpr size_t kMd5Bytes = 16;
inline constexpr size_t kSha1Bytes = 20;
inline constexpr size_t kSha256Bytes = 32;
inline constexpr size_t kSha512Bytes = 64;

using Sha1Digest = std::array<uint8_t, kSha1Bytes>;

Sha1Digest Sha1(std::string_view bytes);

// The 16 bytes that prove knowledge of the password; empty for an empty password.
OvString PasswordDigest(std::string_view password);

// A digest over bytes that arrive in pieces.
template <typename Context, size_t kBytes, void (*kInit)(Context*),
          void (*kUpdate)(Context*, size_t, const uint8_t*),
          void (*kDigest)(Context*, size_t, uint8_t*)>
class RunningDigest {
 public:
  RunningDigest() { kInit(&context_); }
  void Update(std::string_view bytes) {
    kUpdate(&context_, bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
  }
  // The bytes of the digest; the object then starts afresh.
  OvString Finish() {
    uint8_t digest[kBytes];
    kDigest(&context_, sizeof(digest), digest);
    return std::string_view(reinterpret_cast<const char*>(digest), sizeof(digest));
  }

 private:
  Context context_;
};

using RunningMd5 = RunningDigest<md5_ctx, kMd5Bytes, md5_init, md5_update, md5_digest>;
using RunningSha256 =
    RunningDigest<sha256_ctx, kSha256Bytes, sha256_init, sha256_update, sha256_digest>;
using RunningSha512 =
    RunningDigest<sha512_ctx, kSha512Bytes, sha512_init, sha512_update, sha512_digest>;

// Compares in a time that depends on the lengths alone.
bool EqualSecrets(std::string_view a, std::string_view b);

}  // namespace zem

#endif  // ZEM_PROTOCOL_DIGEST_H_
