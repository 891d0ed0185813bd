// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/cipher.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "protocol/digest.h"
#include "protocol/known_answers.h"

namespace zem {
namespace {

std::string Bytes(const uint8_t* bytes, size_t count) {
  return std::string(reinterpret_cast<const char*>(bytes), count);
}

// Cipher feedback as it is defined: a register of sixteen bytes, shifted one byte a step.
std::string SlowCfb8(const std::string& input, const std::string& key, bool encipher) {
  const Cipher cipher(key);
  uint8_t shift_register[kCipherBlock];
  memset(shift_register, 0xFF, sizeof(shift_register));
  cipher.EncipherBlock(shift_register, shift_register);
  std::string output;
  for (const char byte : input) {
    uint8_t scratch[kCipherBlock];
    cipher.EncipherBlock(shift_register, scratch);
    output += static_cast<char>(static_cast<uint8_t>(byte) ^ scratch[0]);
    memmove(shift_register, shift_register + 1, kCipherBlock - 1);
    shift_register[kCipherBlock - 1] = static_cast<uint8_t>(encipher ? output.back() : byte);
  }
  return output;
}

TEST(Cipher, GivesTheKnownAnswers) {
  const Sha1Digest digest = Sha1(known::kTestKey);
  EXPECT_EQ(Bytes(digest.data(), digest.size()), known::kTestKeySha1);

  const Cipher cipher(known::kTestKey);
  uint8_t block[kCipherBlock];
  memset(block, 0xFF, sizeof(block));
  cipher.EncipherBlock(block, block);
  EXPECT_EQ(Bytes(block, sizeof(block)), known::kTestStartingVector);
  memcpy(block, known::kTestText.data(), sizeof(block));  // its terminating zero included
  cipher.EncipherBlock(block, block);
  EXPECT_EQ(Bytes(block, sizeof(block)), known::kTestBlock);
  cipher.DecipherBlock(block, block);
  EXPECT_EQ(memcmp(block, known::kTestText.data(), sizeof(block)), 0);
  EXPECT_EQ(EncipherText(known::kTestText, known::kTestKey), known::kTestTextCipher);

  for (const auto& c : known::kCipherAnswers) {
    SCOPED_TRACE(c.plain.size());
    EXPECT_EQ(EncipherText(c.plain, c.key), c.cipher);
    EXPECT_EQ(DecipherField(c.cipher, c.key), c.plain);
  }
  OvString error("stale");
  EXPECT_TRUE(CipherSelfTest(&error));
  EXPECT_EQ(error, "");
}

TEST(Cipher, EveryLengthEqualsTheShiftRegisterByDefinition) {
  const std::string plain = known::Counting(200);
  for (size_t length = 0; length <= plain.size(); ++length) {
    const std::string text = plain.substr(0, length);
    const std::string cipher_text = SlowCfb8(text, "k", true);
    ASSERT_EQ(EncipherText(text, "k"), cipher_text) << length;
    ASSERT_EQ(DecipherField(cipher_text, "k"), text) << length;
    ASSERT_EQ(SlowCfb8(cipher_text, "k", false), text) << length;
  }
}

TEST(Digest, ProvesThePassword) {
  for (const auto& c : known::kDigestAnswers) {
    EXPECT_EQ(PasswordDigest(c.password), c.field) << c.password;
  }
  RunningMd5 md5;
  for (int round = 0; round < 2; ++round) {  // an object starts afresh after each digest
    md5.Update("sec");
    md5.Update("");
    md5.Update("ret");
    EXPECT_EQ(md5.Finish(), known::kDigestAnswers[0].field);
  }
  EXPECT_TRUE(EqualSecrets("", ""));
  EXPECT_TRUE(EqualSecrets("abc", "abc"));
  for (const char* other : {"abd", "xbc", "ab", "abcd", ""}) {
    EXPECT_FALSE(EqualSecrets("abc", other)) << other;
  }
}

}  // namespace
}  // namespace zem
