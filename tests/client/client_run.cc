// SPDX-License-Identifier: BSD-2-Clause
#include "client/client_run.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "app/run.h"
#include "temp_dir.h"

namespace zem::test {

namespace {

// Words between blanks; 'single quotes' hold one together, empty ones too.
std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> words;
  bool quoted = false;
  bool begun = false;
  for (const char byte : line) {
    if (byte == ' ' && !quoted) {
      begun = false;
      continue;
    }
    if (!begun) words.emplace_back();
    begun = true;
    if (byte == '\'') {
      quoted = !quoted;
    } else {
      words.back() += byte;
    }
  }
  return words;
}

template <typename Callee>
int Call(std::vector<std::string> words, const Callee& callee) {
  if (words.empty() || words.front() != "check_zem") words.insert(words.begin(), "zemctl");
  std::vector<const char*> pointers;
  for (const std::string& word : words) pointers.push_back(word.c_str());
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  return callee(static_cast<int>(pointers.size()), pointers.data());
}

}  // namespace

client::Options Parse(const std::string& line, int* exit_code, std::string* printed) {
  client::Options options;
  *exit_code = Call(Split(line), [&options](int argc, const char* const* argv) {
    return client::ParseCommandLine(argc, argv, &options).value_or(-1);
  });
  const std::string text =
      testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
  if (printed != nullptr) *printed = text;
  return options;
}

ClientRun RunClient(const std::string& line) {
  return RunWords(Split(line));
}

ClientRun RunWords(const std::vector<std::string>& words) {
  ClientRun run;
  run.exit_code = Call(words, client::Run);
  run.out = testing::internal::GetCapturedStdout();
  run.err = testing::internal::GetCapturedStderr();
  return run;
}

std::string Scratch(const std::string& text, unsigned mode) {
  static const TempDir folder;
  static int count = 0;
  std::string path = folder / std::to_string(count++);
  WriteFile(path, text);
  chmod(path.c_str(), static_cast<mode_t>(mode));
  return path;
}

}  // namespace zem::test
