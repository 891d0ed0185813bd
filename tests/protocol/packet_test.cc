// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/packet.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocol/digest.h"
#include "protocol/known_answers.h"

namespace zem {
namespace {

using std::string_view_literals::operator""sv;

std::string Little(uint64_t value, size_t bytes) {
  std::string text;
  for (size_t i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xFF);
  return text;
}

// A request packet whose every field can be wrong. Its size field is right unless given.
struct Raw {
  std::string signature = "\x03\x12";
  uint64_t password_size = 16;
  std::string password = known::kDigestAnswers[0].field;
  uint64_t key_size = 3;
  std::string key = std::string(EncipherText("key", "secret").View());
  uint64_t request_size = 5;
  std::string request = std::string(EncipherText("Info\r", "key").View());
  int64_t packet_size = -1000;

  std::string Bytes() const {
    const std::string body = signature + Little(password_size, 2) + password + Little(key_size, 2) +
                             key + Little(request_size, 4) + request;
    return Little(packet_size == -1000 ? body.size() : static_cast<uint64_t>(packet_size), 4) +
           body;
  }
};

struct Parsed {
  bool valid;
  std::string text, key, trace;
};

Parsed Parse(std::string_view bytes, std::string_view password) {
  RequestPacket packet{.text = bytes, .key = MakeSessionKey("stale")};
  Parsed result;
  result.valid = ParseRequestPacket(&packet, password, PasswordDigest(password),
                                    [&result](std::string_view line) { result.trace += line; });
  if (result.valid) result.text = packet.text.View();
  if (result.valid) result.key = packet.key->Text().View();
  return result;
}

TEST(RequestPacket, KnownPacketsAreReadAndBuilt) {
  for (const auto& c : known::kRequestAnswers) {
    SCOPED_TRACE(c.packet.size());
    const Parsed parsed = Parse(c.packet, c.password);
    EXPECT_TRUE(parsed.valid);
    EXPECT_EQ(parsed.text, c.text);
    EXPECT_EQ(parsed.key, c.session_key);
    EXPECT_EQ(BuildRequestPacket(c.text, c.session_key, c.password), c.packet);
    EXPECT_FALSE(Parse(c.packet, std::string(c.password) + " ").valid);
    RequestPacket untraced{.text = OvString(c.packet), .key = nullptr};
    EXPECT_TRUE(ParseRequestPacket(&untraced, c.password, PasswordDigest(c.password), nullptr));
  }
  // A key whose size takes both bytes of its field.
  const std::string long_key = known::Counting(513);
  const Parsed parsed = Parse(BuildRequestPacket("GetInfo\r", long_key, "secret"), "secret");
  EXPECT_EQ(parsed.text + parsed.key, "GetInfo\r" + long_key);
  EXPECT_EQ(BuildRequestPacket("", long_key, "secret").View().substr(24, 2), "\x01\x02");
  for (const auto& c : known::kReplyAnswers) {
    EXPECT_EQ(BuildPacket(c.text, c.session_key, 4), c.packet);
    EXPECT_EQ(BuildPacket(c.text, c.session_key, 0), c.packet.substr(4));
  }
  EXPECT_EQ(BuildPacket("", "key", 4), "");
}

TEST(RequestPacket, NoTruncationAndNoSurplusPasses) {
  for (const auto& c : known::kRequestAnswers) {
    for (size_t length = 0; length < c.packet.size(); ++length) {
      const std::string cut = c.packet.substr(0, length);
      ASSERT_FALSE(IsPacketComplete(cut)) << length;
      ASSERT_FALSE(Parse(cut, c.password).valid) << length;
      // The same with a size field that fits, so that the inner sizes have to notice.
      if (length < 4) continue;
      ASSERT_FALSE(Parse(Little(length - 4, 4) + cut.substr(4), c.password).valid) << length;
    }
    EXPECT_TRUE(IsPacketComplete(c.packet));
    const std::string longer = c.packet + "x";
    EXPECT_TRUE(IsPacketComplete(longer));
    EXPECT_FALSE(Parse(longer, c.password).valid);
    // Bytes behind the request field do not matter as long as the packet size counts them.
    EXPECT_EQ(Parse(Little(longer.size() - 4, 4) + longer.substr(4), c.password).text, c.text);
  }
}

TEST(RequestPacket, NoFlippedBitGoesUnnoticed) {
  for (const auto& c : known::kRequestAnswers) {
    for (size_t bit = 0; bit < 8 * c.packet.size(); ++bit) {
      std::string flipped = c.packet;
      flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
      const Parsed parsed = Parse(flipped, c.password);
      // Head and password are checked; key and request are only enciphered.
      if (bit / 8 < 8 + 16) {
        ASSERT_FALSE(parsed.valid) << bit;
      } else {
        ASSERT_FALSE(parsed.valid && parsed.text == c.text && parsed.key == c.session_key) << bit;
      }
    }
  }
}

TEST(RequestPacket, ChecksAndTracesInOrder) {
  const std::string kTraced[] = {
      "<-- ZEM packet size: ", "<-- Pswd size: ", "<-- Key size: ", "<-- Req size: "};
  // The inner sizes change without their bytes, so the packet keeps its 38. Only the lines of the
  // steps that were reached are traced.
  const struct {
    const char* name;
    void (*change)(Raw* raw);
    std::vector<int64_t> sizes;
  } cases[] = {
      {"good", [](Raw*) {}, {34, 16, 3, 5}},
      {"size below", [](Raw* r) { r->packet_size = 33; }, {33}},
      {"size above", [](Raw* r) { r->packet_size = 35; }, {35}},
      {"size negative", [](Raw* r) { r->packet_size = -4; }, {-4}},
      {"size largest", [](Raw* r) { r->packet_size = 0x7FFFFFFF; }, {2147483647}},
      {"P one beyond", [](Raw* r) { r->password_size = 25; }, {34, 25}},
      {"P largest", [](Raw* r) { r->password_size = 65535; }, {34, 65535}},
      {"K one beyond", [](Raw* r) { r->key_size = 9; }, {34, 16, 9}},
      {"K largest", [](Raw* r) { r->key_size = 65535; }, {34, 16, 65535}},
      {"R one beyond", [](Raw* r) { r->request_size = 6; }, {34, 16, 3, 6}},
      {"R negative", [](Raw* r) { r->request_size = 0xFFFFFFFF; }, {34, 16, 3, -1}},
      {"R largest", [](Raw* r) { r->request_size = 0x7FFFFFFF; }, {34, 16, 3, 2147483647}},
      {"signature 1", [](Raw* r) { r->signature = "\x02\x12"; }, {34, 16, 3, 5}},
      {"signature 2", [](Raw* r) { r->signature = "\x03\x11"; }, {34, 16, 3, 5}},
      {"password", [](Raw* r) { r->password[15] ^= 1; }, {34, 16, 3, 5}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Raw raw;
    c.change(&raw);
    std::string expected = "<-- TCP packet size: 38\n";
    for (size_t i = 0; i < c.sizes.size(); ++i) {
      expected += kTraced[i] + std::to_string(c.sizes[i]) + "\n";
    }
    if (c.name == "password"sv) expected += "<-- Wrong password or MD5 error\n";
    const Parsed parsed = Parse(raw.Bytes(), "secret");
    EXPECT_EQ(parsed.valid, c.name == "good"sv);
    EXPECT_EQ(parsed.trace, expected);
  }
  EXPECT_EQ(Parse(Raw().Bytes().substr(0, 13), "secret").trace, "<-- TCP packet size: 13\n");
  EXPECT_EQ(Parse(std::string(14, '\0'), "secret").trace,
            "<-- TCP packet size: 14\n<-- ZEM packet size: 0\n");
}

TEST(RequestPacket, PasswordFieldHasExactlyTheDigestsLength) {
  for (const size_t size : {0U, 15U, 17U}) {
    Raw raw;
    raw.password_size = size;
    raw.password.resize(size, '\0');
    EXPECT_FALSE(Parse(raw.Bytes(), "secret").valid) << size;
  }
  Raw open;  // no password: no field, and the key is under the empty text
  open.password_size = 0;
  open.password = "";
  open.key = EncipherText("key", "").View();
  EXPECT_EQ(Parse(open.Bytes(), "").key, "key");
  EXPECT_FALSE(Parse(open.Bytes(), "secret").valid);
  EXPECT_FALSE(Parse(Raw().Bytes(), "").valid);

  Raw empty;
  empty.key_size = empty.request_size = 0;
  empty.key = empty.request = "";
  const Parsed parsed = Parse(empty.Bytes(), "secret");
  EXPECT_TRUE(parsed.valid);
  EXPECT_EQ(parsed.text + parsed.key, "");
}

TEST(PacketCompleteness, NeedsAHeaderAndWhatTheSizeAnnounces) {
  const struct {
    uint32_t size;
    size_t received;
    bool complete;
  } cases[] = {{0, 13, false},
               {0, 14, true},
               {10, 14, true},
               {11, 14, false},
               {11, 15, true},
               {11, 16, true},
               {0xFFFFFFFF, 13, false},
               {0xFFFFFFFF, 14, true},
               {0x80000000, 14, true},
               {16777216, 14, false},
               {16777217, 14, true},
               {16777217, 13, false},
               {0x7FFFFFFF, 14, true},
               {16777216, 16777219, false},
               {16777216, 16777220, true}};
  for (const auto& c : cases) {
    std::string received = Little(c.size, 4);
    received.resize(c.received, '\0');
    EXPECT_EQ(IsPacketComplete(received), c.complete) << c.size << " with " << c.received;
  }
  EXPECT_FALSE(IsPacketComplete(""));
}

TEST(PacketCompleteness, AWrongPasswordShowsAtOnceByItsLengthElseByItsField) {
  const std::string right = known::kDigestAnswers[0].field;
  const std::string other = known::kDigestAnswers[2].field;
  const std::string& packet = known::kRequestAnswers[0].packet;
  for (size_t length = 0; length <= packet.size(); ++length) {
    const std::string received = packet.substr(0, length);
    const auto no_proof = PasswordProof::kMissing;
    const auto whole = length >= 24;
    EXPECT_EQ(ProvesPassword(received, right), whole ? PasswordProof::kRight : no_proof) << length;
    EXPECT_EQ(ProvesPassword(received, other), whole ? PasswordProof::kWrong : no_proof) << length;
    EXPECT_EQ(ProvesPassword(received, ""), length >= 14 ? PasswordProof::kWrong : no_proof);
  }
  for (const char* size : {"\x0F\0", "\x11\0", "\x10\1", "\xFF\xFF"}) {
    const std::string head = packet.substr(0, 6) + std::string(size, 2) + packet.substr(8, 6);
    EXPECT_EQ(ProvesPassword(head, right), PasswordProof::kWrong);
  }
  const std::string& open = std::string("\0\0\0\0\x03\x12\0\0\0\0\0\0\0\0"sv);
  EXPECT_EQ(ProvesPassword(open, right), PasswordProof::kWrong);
  EXPECT_EQ(ProvesPassword(open, ""), PasswordProof::kRight);
  EXPECT_EQ(ProvesPassword(open.substr(0, 13), ""), PasswordProof::kMissing);
}

}  // namespace
}  // namespace zem
