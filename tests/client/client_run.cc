// SPDX-License-Identifier: BSD-2-Clause
#include "client/client_run.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "app/run.h"

namespace zem::test {

namespace {

class Arguments {
 public:
  explicit Arguments(const std::string& line) : words_(Split(line)) {
    if (words_.empty() || words_.front() != "check_zem") words_.insert(words_.begin(), "zemctl");
    for (const std::string& word : words_) pointers_.push_back(word.c_str());
  }
  int Count() const { return static_cast<int>(pointers_.size()); }
  const char* const* Get() const { return pointers_.data(); }

 private:
  std::vector<std::string> words_;
  std::vector<const char*> pointers_;
};

// Removes the scratch files when the test program ends.
struct ScratchFiles {
  ~ScratchFiles() {
    for (const std::string& path : paths) unlink(path.c_str());
  }
  std::vector<std::string> paths;
};

}  // namespace

std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false;
  bool begun = false;
  for (const char byte : line) {
    if (byte == '\'') {
      quoted = !quoted;
      begun = true;
    } else if (byte == ' ' && !quoted) {
      if (begun) words.push_back(word);
      word.clear();
      begun = false;
    } else {
      word += byte;
      begun = true;
    }
  }
  if (begun) words.push_back(word);
  return words;
}

client::Options Parse(const std::string& line, int* exit_code, std::string* printed) {
  const Arguments arguments(line);
  client::Options options;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  *exit_code = client::ParseCommandLine(arguments.Count(), arguments.Get(), &options).value_or(-1);
  const std::string text =
      testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
  if (printed != nullptr) *printed = text;
  return options;
}

ClientRun RunClient(const std::string& line) {
  const Arguments arguments(line);
  ClientRun run;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  run.exit_code = client::Run(arguments.Count(), arguments.Get());
  run.out = testing::internal::GetCapturedStdout();
  run.err = testing::internal::GetCapturedStderr();
  return run;
}

std::string Scratch(const std::string& text, unsigned mode) {
  static ScratchFiles files;
  std::string path = testing::TempDir() + "zem-client-XXXXXX";
  const int fd = mkstemp(path.data());
  FILE* file = fdopen(fd, "w");
  fwrite(text.data(), 1, text.size(), file);
  fchmod(fd, mode);
  fclose(file);
  files.paths.push_back(path);
  return path;
}

}  // namespace zem::test
