// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/cipher.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "protocol/digest.h"

namespace zem {

Cipher::Cipher(std::string_view key_string) {
  static_assert(kSha1Bytes <= TWOFISH192_KEY_SIZE);
  uint8_t key[TWOFISH192_KEY_SIZE] = {};
  Sha1Digest digest = Sha1(key_string);
  memcpy(key, digest.data(), digest.size());
  twofish192_set_key(&schedule_, key);
  explicit_bzero(key, sizeof(key));
  explicit_bzero(digest.data(), digest.size());

  memset(starting_vector_, 0xFF, sizeof(starting_vector_));
  EncipherBlock(starting_vector_, starting_vector_);
}

Cipher::~Cipher() {
  explicit_bzero(&schedule_, sizeof(schedule_));
  explicit_bzero(starting_vector_, sizeof(starting_vector_));
}

void Cipher::EncipherBlock(const uint8_t* in, uint8_t* out) const {
  twofish_encrypt(&schedule_, kCipherBlock, out, in);
}

void Cipher::DecipherBlock(const uint8_t* in, uint8_t* out) const {
  twofish_decrypt(&schedule_, kCipherBlock, out, in);
}

// The shift register is the sixteen bytes before the present one in "starting vector, then
// ciphertext". So it is never shifted: a window slides over those bytes. Only the first sixteen
// steps need them side by side in a scratch buffer.
void Cipher::Encipher(std::string_view text, char* out) const {
  const auto* in = reinterpret_cast<const uint8_t*>(text.data());
  auto* cipher_text = reinterpret_cast<uint8_t*>(out);
  const size_t head = std::min(text.size(), kCipherBlock);
  uint8_t window[2 * kCipherBlock];
  uint8_t block[kCipherBlock];
  memcpy(window, starting_vector_, kCipherBlock);
  for (size_t i = 0; i < head; ++i) {
    EncipherBlock(window + i, block);
    cipher_text[i] = window[kCipherBlock + i] = static_cast<uint8_t>(in[i] ^ block[0]);
  }
  for (size_t i = head; i < text.size(); ++i) {
    EncipherBlock(cipher_text + i - kCipherBlock, block);
    cipher_text[i] = static_cast<uint8_t>(in[i] ^ block[0]);
  }
}

// Here every register is known beforehand, so many are laid side by side and enciphered in one
// call of the library.
void Cipher::Decipher(std::string_view bytes, char* out) const {
  constexpr size_t kBatch = 64;
  uint8_t blocks[kBatch * kCipherBlock];
  uint8_t window[kCipherBlock + kBatch];
  memcpy(window, starting_vector_, kCipherBlock);
  for (size_t done = 0; done < bytes.size();) {
    const size_t count = std::min(kBatch, bytes.size() - done);
    memcpy(window + kCipherBlock, bytes.data() + done, count);
    for (size_t i = 0; i < count; ++i) memcpy(blocks + i * kCipherBlock, window + i, kCipherBlock);
    twofish_encrypt(&schedule_, count * kCipherBlock, blocks, blocks);
    for (size_t i = 0; i < count; ++i) {
      out[done + i] =
          static_cast<char>(static_cast<uint8_t>(bytes[done + i]) ^ blocks[i * kCipherBlock]);
    }
    memmove(window, window + count, kCipherBlock);
    done += count;
  }
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
  // The 192-bit example of the cipher's published test vectors.
  static constexpr uint8_t kKey[TWOFISH192_KEY_SIZE] = {
      0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xFE, 0xDC, 0xBA, 0x98,
      0x76, 0x54, 0x32, 0x10, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};
  static constexpr uint8_t kExpected[kCipherBlock] = {0xCF, 0xD1, 0xD2, 0xE5, 0xA9, 0xBE,
                                                      0x9C, 0xDF, 0x50, 0x1F, 0x13, 0xB8,
                                                      0x92, 0xBD, 0x22, 0x48};
  static constexpr uint8_t kPlain[kCipherBlock] = {};
  error->Clear();
  twofish_ctx schedule;
  uint8_t block[kCipherBlock];
  twofish192_set_key(&schedule, kKey);
  twofish_encrypt(&schedule, kCipherBlock, block, kPlain);
  if (memcmp(block, kExpected, kCipherBlock) != 0) {
    *error = "Twofish code will not work: encipherment differs from the published vector";
    return false;
  }
  twofish_decrypt(&schedule, kCipherBlock, block, block);
  if (memcmp(block, kPlain, kCipherBlock) != 0) {
    *error = "Twofish code will not work: decipherment differs from the published vector";
    return false;
  }
  return true;
}

}  // namespace zem
