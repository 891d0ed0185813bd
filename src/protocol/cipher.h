// SPDX-License-Identifier: BSD-2-Clause
// Twofish in 8-bit cipher feedback, keyed by a text.
//
// Shapes:  a key string is any bytes; the cipher key is its SHA-1 digest, padded with zeros to
//          192 bits. The starting vector is a block of 0xFF bytes enciphered under that key, so
//          it is never sent. Output is as long as input; empty in, empty out.
// Cost:    one key set-up an object (about 25 block encipherments), one block a byte.
// Threads: an object is constant once made; all operations may run on many threads at once.

#ifndef ZEM_PROTOCOL_CIPHER_H_
#define ZEM_PROTOCOL_CIPHER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/ovstring.h"

namespace zem {

inline constexpr size_t kCipherBlock = 16;

// A prepared key schedule. It is wiped when it goes, and never copied.
class Cipher {
 public:
  explicit Cipher(std::string_view key_string);
  ~Cipher();
  Cipher(const Cipher&) = delete;
  Cipher& operator=(const Cipher&) = delete;

  // `out` has room for `text.size()` bytes and does not overlap the text.
  void Encipher(std::string_view text, char* out) const;
  void Decipher(std::string_view bytes, char* out) const;

  // The bare block operations, 16 bytes each; `out` may be `in`.
  void EncipherBlock(const uint8_t* in, uint8_t* out) const;
  void DecipherBlock(const uint8_t* in, uint8_t* out) const;

 private:
  // `cipher_text` is where the ciphertext stands: `in` or `out`.
  void Feedback(std::string_view text, const uint8_t* cipher_text, uint8_t* out) const;

  // The library's own type, as bytes: its header defines macros that nobody else should meet.
  static constexpr size_t kScheduleBytes = 4256;
  alignas(8) uint8_t schedule_[kScheduleBytes];
  uint8_t starting_vector_[kCipherBlock];
};

OvString EncipherText(std::string_view text, std::string_view key_string);
OvString DecipherField(std::string_view bytes, std::string_view key_string);

// Runs the library's own published vectors. On failure `*error` says in one line what went wrong.
// Runs once, before any session.
[[nodiscard]] bool CipherSelfTest(OvString* error);

}  // namespace zem

#endif  // ZEM_PROTOCOL_CIPHER_H_
