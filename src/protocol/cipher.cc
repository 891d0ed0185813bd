// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/cipher.h"

#include <strings.h>
#include <tomcrypt.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "protocol/digest.h"

namespace zem {

namespace {

constexpr int kKeyBytes = 24;

const uint8_t* Bytes(std::string_view text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}

// The block operations only read a schedule, though they ask for one that may be written.
symmetric_key* Schedule(const uint8_t* bytes) {
  return const_cast<symmetric_key*>(reinterpret_cast<const symmetric_key*>(bytes));
}

}  // namespace

// The block operations fail for a missing argument alone and the set-up for a wrong key length:
// their results say nothing here.
Cipher::Cipher(std::string_view key_string) {
  static_assert(sizeof(symmetric_key) <= kScheduleBytes && alignof(symmetric_key) <= 8);
  static_assert(kSha1Bytes <= kKeyBytes);
  uint8_t key[kKeyBytes] = {};
  Sha1Digest digest = Sha1(key_string);
  memcpy(key, digest.data(), digest.size());
  (void)twofish_setup(key, kKeyBytes, 0, new (schedule_) symmetric_key);
  explicit_bzero(key, sizeof(key));
  explicit_bzero(digest.data(), digest.size());

  memset(starting_vector_, 0xFF, sizeof(starting_vector_));
  EncipherBlock(starting_vector_, starting_vector_);
}

Cipher::~Cipher() {
  explicit_bzero(schedule_, sizeof(schedule_));
  explicit_bzero(starting_vector_, sizeof(starting_vector_));
}

void Cipher::EncipherBlock(const uint8_t* in, uint8_t* out) const {
  (void)twofish_ecb_encrypt(in, out, Schedule(schedule_));
}

void Cipher::DecipherBlock(const uint8_t* in, uint8_t* out) const {
  (void)twofish_ecb_decrypt(in, out, Schedule(schedule_));
}

// The shift register is the sixteen bytes before the present one in "starting vector, then
// ciphertext". So it is never shifted: a window slides over those bytes. Only the first sixteen
// steps need them side by side in a buffer of their own.
void Cipher::Feedback(std::string_view text, const uint8_t* cipher_text, uint8_t* out) const {
  const uint8_t* in = Bytes(text);
  const size_t head = std::min(text.size(), kCipherBlock);
  uint8_t window[2 * kCipherBlock];
  uint8_t block[kCipherBlock];
  memcpy(window, starting_vector_, kCipherBlock);
  for (size_t i = 0; i < head; ++i) {
    EncipherBlock(window + i, block);
    out[i] = static_cast<uint8_t>(in[i] ^ block[0]);
    window[kCipherBlock + i] = cipher_text[i];
  }
  for (size_t i = head; i < text.size(); ++i) {
    EncipherBlock(cipher_text + i - kCipherBlock, block);
    out[i] = static_cast<uint8_t>(in[i] ^ block[0]);
  }
}

void Cipher::Encipher(std::string_view text, char* out) const {
  auto* const bytes = reinterpret_cast<uint8_t*>(out);
  Feedback(text, bytes, bytes);
}

void Cipher::Decipher(std::string_view bytes, char* out) const {
  Feedback(bytes, Bytes(bytes), reinterpret_cast<uint8_t*>(out));
}

OvString EncipherText(std::string_view text, std::string_view key_string) {
  OvString result;
  if (!text.empty()) Cipher(key_string).Encipher(text, result.Resize(text.size()));
  return result;
}

OvString DecipherField(std::string_view bytes, std::string_view key_string) {
  OvString result;
  if (!bytes.empty()) Cipher(key_string).Decipher(bytes, result.Resize(bytes.size()));
  return result;
}

bool CipherSelfTest(OvString* error) {
  error->Clear();
  if (twofish_test() == CRYPT_OK) return true;
  *error = "Twofish code will not work: a result differs from the published vectors";
  return false;
}

}  // namespace zem
