// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/config_file.h"
#include "core/settings.h"
#include "dispatch/command_table.h"
#include "protocol/cipher.h"
#include "protocol/digest.h"
#include "protocol/known_answers.h"
#include "protocol/packet.h"

namespace zem {
namespace {

std::vector<std::string> LinesOf(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  EXPECT_FALSE(lines.empty()) << path;
  return lines;
}

std::set<std::string> LoaderKeys() {
  std::set<std::string> keys;
  for (const SettingRow& row : SettingsTable()) {
    if (!row.key.empty()) keys.emplace(row.key);
  }
  return keys;
}

std::string Hex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[static_cast<unsigned char>(byte) & 15];
  }
  return text;
}

std::string Sha1Hex(std::string_view text) {
  const Sha1Digest digest = Sha1(text);
  return Hex({reinterpret_cast<const char*>(digest.data()), digest.size()});
}

using Block = std::map<std::string, std::string>;

// The fenced blocks of one kind, each as its labels and values.
std::vector<Block> Blocks(const std::string& kind) {
  std::vector<Block> blocks;
  bool inside = false;
  for (const std::string& line : LinesOf(ZEM_SOURCE_DIR "/docs/protocol.md")) {
    if (line == "```" + kind) {
      inside = true;
      blocks.emplace_back();
    } else if (line == "```") {
      inside = false;
    } else if (inside) {
      const size_t colon = line.find(": ");
      EXPECT_NE(colon, std::string::npos) << line;
      blocks.back()[line.substr(0, colon)] = line.substr(colon + 2);
    }
  }
  return blocks;
}

TEST(Papers, TheSampleNamesEveryKeyAndLoadsOnceAPasswordIsSet) {
  std::set<std::string> named;
  std::ostringstream usable;
  for (const std::string& line : LinesOf(ZEM_SAMPLE)) {
    const std::string uncommented = !line.empty() && line[0] == '#' ? line.substr(1) : line;
    ConfigLine parsed;
    if (ParseConfigLine(uncommented, &parsed) && parsed.key.Find(' ') == 0) {
      named.emplace(parsed.key.View());
    }
    usable << (line == "password=" ? "password=x" : line) << "\n";
  }
  EXPECT_EQ(named, LoaderKeys());

  const std::string path = testing::TempDir() + "zem-sample.cfg";
  std::ofstream(path) << usable.str() << "zempath=/bin/sh\ntmpdir=/tmp\n";
  Settings settings;
  settings.config_path = path.c_str();
  OvString error;
  EXPECT_TRUE(LoadSettings(&settings, &error));
  EXPECT_EQ(error, "") << "no warning either: " << error.CStr();
  EXPECT_TRUE(settings.filter_active);
  EXPECT_EQ(settings.allow_list, "\r\n127.0.0.1\r\n");
  EXPECT_FALSE(settings.external || settings.shell_script || settings.execute_action ||
               settings.tcp_udp_action || settings.syslog_action || settings.allow_updates);
  std::remove(path.c_str());
}

TEST(Papers, TheProtocolNamesEveryCommand) {
  std::string text;
  for (const std::string& line : LinesOf(ZEM_SOURCE_DIR "/docs/protocol.md")) text += line + "\n";
  EXPECT_EQ(CommandTable().size(), 37U);
  for (const CommandRow& row : CommandTable()) {
    std::string quoted("`");
    quoted.append(row.word).append("`");
    EXPECT_NE(text.find(quoted), std::string::npos) << row.word;
  }
}

TEST(Papers, TheExamplesOfTheProtocolAreTrue) {
  const auto requests = Blocks("zem-request");
  const auto replies = Blocks("zem-reply");
  const auto ciphers = Blocks("zem-cipher");
  EXPECT_FALSE(requests.empty() || replies.empty() || ciphers.empty());
  for (Block block : requests) {
    const std::string password = known::FromHex(block["password"]);
    const std::string key = known::FromHex(block["session-key"]);
    const std::string text = known::FromHex(block["request-text"]);
    EXPECT_EQ(block["password-sha1"], Sha1Hex(password));
    EXPECT_EQ(block["password-field"], Hex(PasswordDigest(password)));
    EXPECT_EQ(block["key-field"], Hex(EncipherText(key, password)));
    EXPECT_EQ(block["request-field"], Hex(EncipherText(text, key)));
    EXPECT_EQ(block["packet"], Hex(BuildRequestPacket(text, key, password)));
  }
  for (Block block : replies) {
    EXPECT_EQ(block["packet"], Hex(BuildPacket(known::FromHex(block["reply-text"]),
                                               known::FromHex(block["session-key"]), 4)));
  }
  for (Block block : ciphers) {
    const std::string key = known::FromHex(block["key-string"]);
    uint8_t vector[kCipherBlock];
    for (uint8_t& byte : vector) byte = 0xFF;
    Cipher(key).EncipherBlock(vector, vector);
    EXPECT_EQ(block["cipher-key-sha1"], Sha1Hex(key));
    EXPECT_EQ(block["starting-vector"],
              Hex({reinterpret_cast<const char*>(vector), sizeof(vector)}));
    EXPECT_EQ(block["ciphertext"], Hex(EncipherText(known::FromHex(block["text"]), key)));
  }
}

}  // namespace
}  // namespace zem
