// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/file_compare.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "checks/files/text_search.h"
#include "plain_user.h"
#include "temp_dir.h"

namespace zem {
namespace {

Answer Compare(const std::string& first, const std::string& second) {
  return CompareContents(OvString(first), OvString(second));
}

TEST(CompareContents, OnlyTheCommonPrefixCounts) {
  TempDir top;
  std::string bytes(200'000, '\0');
  std::mt19937 random(3);
  for (char& byte : bytes) byte = static_cast<char>(random());
  WriteFile(top / "whole", bytes);
  WriteFile(top / "empty", "");
  EXPECT_EQ(Compare(top / "whole", top / "empty"), Answer::kYes);
  for (const size_t length : {1u, 10240u, 10241u, 65535u, 65536u, 65537u, 131072u, 199'999u}) {
    WriteFile(top / "part", bytes.substr(0, length));
    EXPECT_EQ(Compare(top / "part", top / "whole"), Answer::kYes) << length;
    EXPECT_EQ(Compare(top / "whole", top / "part"), Answer::kYes) << length;
    std::string changed = bytes.substr(0, length);
    changed.back() = static_cast<char>(changed.back() ^ 1);
    WriteFile(top / "part", changed);
    EXPECT_EQ(Compare(top / "whole", top / "part"), Answer::kNo) << length;
  }
  mkfifo((top / "pipe").c_str(), 0666);
  EXPECT_EQ(Compare(top / "whole", top / "missing"), Answer::kFailed);
  EXPECT_EQ(Compare(top / "pipe", top / "whole"), Answer::kFailed);
  EXPECT_EQ(Compare("", top / "whole"), Answer::kFailed);
}

// The search as it has always been defined: a buffer of three text lengths, of which one is
// carried over.
bool ModelFinds(const std::string& file, std::string text, const TextSearchOptions& options) {
  const auto lower = [&](std::string bytes) {
    if (!options.case_sensitive) {
      std::transform(bytes.begin(), bytes.end(), bytes.begin(), LowerAscii);
    }
    return bytes;
  };
  const auto in_word = [](char byte) { return isalnum(static_cast<unsigned char>(byte)) != 0; };
  if (text.size() > file.size()) return false;
  const size_t size = std::min(3 * text.size(), file.size() + 1);
  text = lower(text);
  std::string buffer;
  size_t position = 0;
  for (;;) {
    const std::string load = file.substr(position, size - buffer.size());
    const bool at_end = load.size() < size - buffer.size();
    position += load.size();
    buffer += lower(load);
    for (size_t at = buffer.find(text); at != std::string::npos; at = buffer.find(text, at + 1)) {
      const size_t end = at + text.size();
      const bool word =
          (at == 0 || !in_word(buffer[at - 1])) && (end == buffer.size() || !in_word(buffer[end]));
      if (!options.whole_word || word) return true;
    }
    if (at_end) return false;
    buffer.erase(0, buffer.size() - text.size());
  }
}

class TextSearchTest : public ::testing::Test {
 protected:
  void ExpectModel(const std::string& contents, const std::string& text) {
    WriteFile(top_ / "file", contents);
    for (const bool sensitive : {true, false}) {
      for (const bool word : {true, false}) {
        const TextSearchOptions options = {.case_sensitive = sensitive, .whole_word = word};
        const Answer answer = FindTextInFile(OvString(top_ / "file"), text, options);
        EXPECT_EQ(answer, ModelFinds(contents, text, options) ? Answer::kYes : Answer::kNo)
            << "text of " << text.size() << " in " << contents.size() << " case " << sensitive
            << " word " << word << " " << text.substr(0, 40) << "|" << contents.substr(0, 80);
      }
    }
  }

  TempDir top_;
};

TEST_F(TextSearchTest, EqualsTheSmallBufferOnShortFiles) {
  std::mt19937 random(11);
  const std::string letters[] = {"ab", "aB.", "aA. ", std::string("x\0.", 3), "a@`\xE1\xC1[{1"};
  for (int i = 0; i < 6000; ++i) {
    const std::string& alphabet = letters[static_cast<size_t>(i) % std::size(letters)];
    const auto text = [&](size_t longest) {
      std::string bytes(random() % longest + 1, ' ');
      for (char& byte : bytes) byte = alphabet[random() % alphabet.size()];
      return bytes;
    };
    ExpectModel(text(i % 3 == 0 ? 15 : 90), text(i % 2 == 0 ? 3 : 8));
  }
}

// An occurrence at every distance from the ends of the blocks that are read.
TEST_F(TextSearchTest, FindsAcrossBlocks) {
  for (const size_t length : {1u, 100u, 70'000u}) {
    std::string text(length, 'q');
    text.front() = 'Z';
    for (const size_t block : {65537u, 131073u}) {
      for (const int distance : {-1, 0, 1}) {
        std::string contents(202'000, 'q');
        const size_t at = block - static_cast<size_t>(distance);
        contents.replace(at, length, text);
        ExpectModel(contents, text);
        contents[at - 1] = contents[at + length] = '.';
        ExpectModel(contents, text);
      }
    }
  }
}

// Contents that are nothing but near-occurrences must not cost the product of both lengths.
TEST_F(TextSearchTest, HostileContents) {
  const std::string as(300'123, 'a');
  ExpectModel(as, std::string(400, 'a') + "b");
  ExpectModel(as, std::string(1, 'b').append(400, 'a'));
  ExpectModel(as + "b", std::string(400, 'a') + "b");
  ExpectModel(as, std::string(400, 'a'));
  ExpectModel(as + "." + std::string(400, 'a') + ".", std::string(400, 'a'));
  // Every second place looks right for a long way; only the very end is.
  const auto pairs = [](size_t count) {
    std::string text;
    while (count-- > 0) text.append("ab");
    return text;
  };
  const std::string text = pairs(100).append("bb").append(pairs(100));
  for (size_t i = 0; i < 3; ++i) ExpectModel(pairs(100'000 + i).append(text.substr(200)), text);
  std::string mixed;
  for (int i = 0; i < 1000; ++i) mixed += std::string(200, 'a') + (i % 3 == 0 ? "b" : "ba");
  ExpectModel(mixed, std::string(200, 'a') + "ba" + std::string(200, 'a') + "bab");
  WriteFile(top_ / "file", std::string(8'000'000, 'a'));
  const std::string large = std::string(4'000'000, 'a') + "b";
  for (const bool sensitive : {true, false}) {
    EXPECT_EQ(FindTextInFile(OvString(top_ / "file"), large, {.case_sensitive = sensitive}),
              Answer::kNo);
    EXPECT_EQ(FindTextInFile(OvString(top_ / "file"), large.substr(1, 3'000'000),
                             {.case_sensitive = sensitive, .whole_word = true}),
              Answer::kNo);
  }
}

TEST_F(TextSearchTest, FailuresAndTheirOrder) {
  WriteFile(top_ / "file", "text");
  mkfifo((top_ / "pipe").c_str(), 0666);
  EXPECT_EQ(FindTextInFile(OvString(top_ / "file"), "", {}), Answer::kFailed);
  EXPECT_EQ(FindTextInFile("", "text", {}), Answer::kFailed);
  EXPECT_EQ(FindTextInFile(OvString(top_ / "pipe"), "text", {}), Answer::kFailed);
  // A file that is not there fails before lengths decide.
  EXPECT_EQ(FindTextInFile(OvString(top_ / "missing"), std::string(100, 'x'), {}), Answer::kFailed);
  EXPECT_EQ(FindTextInFile(OvString(top_ / "file"), "longer text", {}), Answer::kNo);
}

}  // namespace
}  // namespace zem
