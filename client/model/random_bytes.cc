// SPDX-License-Identifier: BSD-2-Clause
#include "model/secret.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace zem::client {

namespace {

// What one call of getentropy hands out at most.
constexpr size_t kLargestDraw = 256;

void Fill(char* out, size_t count) {
  while (count > 0) {
    const size_t draw = std::min(count, kLargestDraw);
    if (getentropy(out, draw) != 0) throw std::runtime_error("the system has no random bytes");
    out += draw;
    count -= draw;
  }
}

}  // namespace

Secret RandomBytes(size_t count) {
  OvString bytes;
  Fill(bytes.Resize(count), count);
  Secret secret(bytes.View());
  bytes.Wipe();
  return secret;
}

Secret RandomPassword(size_t count) {
  static constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  // Bytes from here on are drawn again, so that every character is as likely as any other.
  static constexpr size_t kEven = 256 - 256 % kAlphabet.size();
  OvString password;
  while (password.Length() < count) {
    const Secret drawn = RandomBytes(kLargestDraw);
    for (const char byte : drawn.View()) {
      const size_t value = static_cast<uint8_t>(byte);
      if (value < kEven && password.Length() < count) {
        password.Append(kAlphabet[value % kAlphabet.size()]);
      }
    }
  }
  Secret secret(password.View());
  password.Wipe();
  return secret;
}

}  // namespace zem::client
