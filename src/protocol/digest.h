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

// MD5 over bytes that arrive in pieces.
class RunningMd5 {
 public:
  RunningMd5() { md5_init(&context_); }
  void Update(std::string_view bytes);
  // The 16 bytes of the digest; the object then starts afresh.
  OvString Finish();

 private:
  md5_ctx context_;
};

// The same for the longer digests: 32 and 64 bytes.
class RunningSha256 {
 public:
  RunningSha256() { sha256_init(&context_); }
  void Update(std::string_view bytes);
  OvString Finish();

 private:
  sha256_ctx context_;
};

class RunningSha512 {
 public:
  RunningSha512() { sha512_init(&context_); }
  void Update(std::string_view bytes);
  OvString Finish();

 private:
  sha512_ctx context_;
};

// Compares in a time that depends on the lengths alone.
bool EqualSecrets(std::string_view a, std::string_view b);

}  // namespace zem

#endif  // ZEM_PROTOCOL_DIGEST_H_
