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
    // Each byte depends on those before it alone, so every beginning is an answer too.
    for (size_t length = 0; length <= c.plain.size(); ++length) {
      const std::string begun = c.cipher.substr(0, length);
      ASSERT_EQ(EncipherText(c.plain.substr(0, length), c.key), begun) << length;
      ASSERT_EQ(DecipherField(begun, c.key), c.plain.substr(0, length)) << length;
    }
  }
  OvString error("stale");
  EXPECT_TRUE(CipherSelfTest(&error));
  EXPECT_EQ(error, "");
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
