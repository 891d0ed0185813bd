// SPDX-License-Identifier: BSD-2-Clause
// Figures computed apart from this code: the cipher, the digests and whole packets.

#ifndef ZEM_TESTS_PROTOCOL_KNOWN_ANSWERS_H_
#define ZEM_TESTS_PROTOCOL_KNOWN_ANSWERS_H_

#include <string>
#include <string_view>
#include <vector>

namespace zem::known {

inline std::string FromHex(std::string_view hex) {
  const auto nibble = [](char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; };
  std::string bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(nibble(hex[i]) * 16 + nibble(hex[i + 1]));
  }
  return bytes;
}

// The bytes 0, 1, 2 ... 255, 0, 1 ...
inline std::string Counting(size_t count) {
  std::string bytes;
  for (size_t i = 0; i < count; ++i) bytes += static_cast<char>(i & 0xFF);
  return bytes;
}

inline constexpr std::string_view kTestKey = "cipher testkey";
inline constexpr std::string_view kTestText = "918273645546372";
inline const std::string kTestKeySha1 = FromHex("5785ccd195857183dca51226b27226cb78b918b1");
inline const std::string kTestStartingVector = FromHex("dc221cff302c300dcbc62cc3e051f614");
// The test text and its terminating zero, under the bare block cipher.
inline const std::string kTestBlock = FromHex("e108c5923db9d5477dc02f0b725474ac");
inline const std::string kTestTextCipher = FromHex("cb66c9bb6bde5bee6e7442ac2eecec");

struct CipherAnswer {
  std::string key, plain, cipher;
};
inline const std::vector<CipherAnswer> kCipherAnswers = {
    {FromHex(""), FromHex("656d707479206b657920737472696e67"),
     FromHex("4cd888867c6482682d1e31ffe3464a74")},
    {FromHex("6b"),
     FromHex("00000000000000000000000000000000000000000000000000000000000000000000000000000000"),
     FromHex("675084502f1bd604f5cac8d6ec379c3a64c1b060466db608eb1ca451128705cc47aa43fbaa8b9f19")},
    {FromHex("73657373696f6e2d6b65792d30313233"), Counting(256),
     FromHex("3892fdeaf478c2a6f6bf24d169146fc5c855ccb45f7634f70ca81f3ce25a8a34019e92c87c3f324c24e4"
             "b424fa28cf4cc8f6079cbe04f3665bca051e2ee6779581cdb4de33fb8ac49c7e4c2e287882ff62635354"
             "7ea8490b3b027d2b71ba0fa4721037058fb5e56b5ef11057e6862736089adcde63bf124779d3fb53f93f"
             "f6ac5b231defa96be03c6a03de4b9e517bca6d80d666342c3e385a9a7ac72ceac7c969e75d21196b245d"
             "785599fda01ac2eeb8d707f7f6a03fc383102ed2ede424179631ae6774cd5cf3c9fd5e4092812366d273"
             "acba306af3092c3ef2c7b54103b6ead29a8de3f39b3df87b2bf8768730796f77e9b6ae5148395721c70f"
             "db91c12b")},
    {Counting(200),
     FromHex("612062696e617279206b6579206f662032303020627974657320776974682061207a65726f2066697273"
             "74"),
     FromHex("45157935fbceb1e4f2bbc9993c63f8ac6dc39127d05a1e71176847a9af3838a2b1f12ba32b12ca7ff56f"
             "ce")},
    {FromHex("78"), FromHex(""), FromHex("")},
};

struct DigestAnswer {
  std::string_view password;
  std::string field;
};
inline const std::vector<DigestAnswer> kDigestAnswers = {
    {"secret", FromHex("5ebe2294ecd0e0f08eab7690d2a6ee69")},
    {"", FromHex("")},
    {"Pass word 1", FromHex("ad917c0514ac29eb892c9a1244867511")},
};

struct RequestAnswer {
  std::string_view password;
  std::string session_key;
  std::string_view text;
  std::string packet;
};
inline const std::vector<RequestAnswer> kRequestAnswers = {
    {"secret", FromHex("73657373696f6e2d6b65792d30313233"), "GetInfo\r",
     FromHex("32000000031210005ebe2294ecd0e0f08eab7690d2a6ee6910006ad77b6831c5c283bf8dbd73b8211ace"
             "080000007f49bd1d3c2b5424")},
    {"secret", FromHex("73657373696f6e2d6b65792d30313233"),
     "TEST-FileExists\n/etc/hosts\n\n\n\n\n\n0\n\r",
     FromHex("4d000000031210005ebe2294ecd0e0f08eab7690d2a6ee6910006ad77b6831c5c283bf8dbd73b8211ace"
             "230000006c616930826f38336c1c845c01f235890bdf6248b41400f43d4af77197cddddd1509c9")},
    {"secret", FromHex(""), "GetInfo\n\r",
     FromHex("23000000031210005ebe2294ecd0e0f08eab7690d2a6ee690000090000006ef91c5824fd7740d4")},
    {"Pass word 1", FromHex("00ff0a0d07"), "QUIT\n\r",
     FromHex("2500000003121000ad917c0514ac29eb892c9a124486751105001f2946120f060000006251abd76d1d")},
};

struct ReplyAnswer {
  std::string session_key;
  std::string_view text;
  std::string packet;
};
inline const std::vector<ReplyAnswer> kReplyAnswers = {
    {FromHex("73657373696f6e2d6b65792d30313233"), "200\nOk\n\r",
     FromHex("080000000a4825dcee86baa6")},
    {FromHex(""), "600\n\r", FromHex("050000001f7f23dffd")},
    {FromHex("73657373696f6e2d6b65792d30313233"), "500\nnot implemented yet\n\r",
     FromHex("190000000df39aecb9ab37ea79cf85103dfe049f3cda053d648d2a4f3a")},
};

}  // namespace zem::known

#endif  // ZEM_TESTS_PROTOCOL_KNOWN_ANSWERS_H_
