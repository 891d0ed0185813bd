// SPDX-License-Identifier: BSD-2-Clause
#include "core/self_checks.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/console.h"
#include "protocol/cipher.h"

namespace zem {

namespace {

constexpr std::string_view kTestKey = "cipher testkey";
constexpr char kTestText[kCipherBlock] = "918273645546372";  // and its terminating zero

bool Report(bool passed) {
  Print(passed ? "Ok\n" : "Error\n");
  return passed;
}

bool BlockSurvives() {
  const Cipher cipher(kTestKey);
  uint8_t block[kCipherBlock];
  memcpy(block, kTestText, sizeof(block));
  cipher.EncipherBlock(block, block);
  cipher.DecipherBlock(block, block);
  return memcmp(block, kTestText, sizeof(block)) == 0;
}

}  // namespace

// Deliberate: both lines say "encyption"; scripts in the field wait for them as they are.
bool CheckCipher() {
  OvString error;
  if (!CipherSelfTest(&error)) {
    fprintf(stderr, "\nTwofish fatal error: %s\nProcess terminated\n", error.CStr());
    return false;
  }
  const bool passed = BlockSurvives();
  Print("Basic encyption checking .. ");
  return Report(passed);
}

bool CheckPacketEncryption() {
  const std::string_view text(kTestText);
  const OvString restored = DecipherField(EncipherText(text, kTestKey), kTestKey);
  Print("ZEM encyption checking .. ");
  return Report(restored == text);
}

}  // namespace zem
