// SPDX-License-Identifier: BSD-2-Clause
#include "sandbox.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <vector>

#include "fuzz.h"
#include "text/file_info.h"

namespace zem {

namespace {

// Times: "newest" and "oldest" have to have an answer, some are equal, and one entry lies at the
// epoch, where a choice is special. Links lead only into the tree.
struct Item {
  const char* path;
  const char* contents;  // null = a folder
  time_t time;
};
constexpr Item kTree[] = {
    {"tree", nullptr, 1'000'000'000},
    {"tree/.hidden", nullptr, 1'300'000'000},
    {"tree/sub", nullptr, 1'200'000'000},
    {"tree/sub/*.log", nullptr, 1'100'000'000},
    {"tree/one.log", "the cat sat on a mat\n", 1'000'000'000},
    {"tree/two.txt", "cat", 1'100'000'000},
    {"tree/epoch", "x", 0},
    {"tree/[a-c]", "1\n2\n3\n", 1'050'000'000},
    {"tree/.hidden/four.log", "12345", 1'050'000'000},
    {"tree/.hidden/same", "1", 1'050'000'000},
    {"tree/sub/three.log", "the cat sat on a mat\nand stayed\n", -60},
    {"tree/sub/same", "1234", -60},
    {"tree/sub/empty", "", 1'050'000'000},
    {"tree/sub/*.log/in", "333", 1'050'000'000},
};

void SetTime(const std::string& path, time_t seconds) {
  const timespec times[] = {{.tv_sec = seconds, .tv_nsec = 0}, {.tv_sec = seconds, .tv_nsec = 0}};
  FUZZ_CHECK(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0);
}

void Fill(const Scratch& files) {
  for (const Item& item : kTree) {
    if (item.contents == nullptr) {
      FUZZ_CHECK(mkdir(files.Path(item.path).c_str(), 0755) == 0);
    } else {
      files.Write(item.path, item.contents);
    }
  }
  files.Write("tree/block", std::string(20480, 'b'));
  FUZZ_CHECK(mkfifo(files.Path("tree/pipe").c_str(), 0644) == 0);
  FUZZ_CHECK(symlink("one.log", files.Path("tree/link").c_str()) == 0);
  FUZZ_CHECK(symlink("nowhere", files.Path("tree/dangling").c_str()) == 0);
  FUZZ_CHECK(symlink("..", files.Path("tree/sub/round").c_str()) == 0);
  SetTime(files.Path("tree/block"), 1'050'000'000);
  SetTime(files.Path("tree/pipe"), 1'050'000'000);
  for (const Item& item : kTree) SetTime(files.Path(item.path), item.time);
}

// A bit for each open one among the first, by a single call.
uint64_t OpenDescriptors() {
  pollfd first[64];
  for (int fd = 0; fd < 64; ++fd) first[fd] = {fd, 0, 0};
  FUZZ_CHECK(poll(first, 64, 0) >= 0);
  uint64_t open = 0;
  for (const pollfd& each : first) open = open * 2 + ((each.revents & POLLNVAL) == 0 ? 1 : 0);
  return open;
}

// An input that fails is written while the working directory is another one.
void MakeAbsolute(std::vector<std::string>* arguments) {
  char buffer[4096];
  FUZZ_CHECK(getcwd(buffer, sizeof(buffer)) != nullptr);
  const std::string here = std::string(buffer) + "/";
  bool has_prefix = false;
  for (std::string& argument : *arguments) {
    for (const std::string_view name : {"-artifact_prefix=", "-exact_artifact_path="}) {
      if (!argument.starts_with(name)) continue;
      has_prefix = has_prefix || name == "-artifact_prefix=";
      if (argument.size() == name.size() || argument[name.size()] != '/') {
        argument.insert(name.size(), here);
      }
    }
  }
  if (!has_prefix) arguments->insert(arguments->begin() + 1, "-artifact_prefix=" + here);
}

}  // namespace

Sandbox::Sandbox() : files_(PlaceOfSandboxes()), folder_(files_.Path()) {
  folder_.pop_back();
  Fill(files_);
  home_.Reset(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  inside_.Reset(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  FUZZ_CHECK(home_.IsOpen() && inside_.IsOpen());
}

std::string Sandbox::Confined(std::string_view path) const {
  std::string confined(path);
  // Two dots wherever they stand: what surrounds them may be a macro or be cut off.
  for (size_t at = 0; (at = confined.find("..", at)) != std::string::npos;) confined[at] = '_';
  size_t first = 0;  // the agent trims every byte up to the blank
  while (first < confined.size() && static_cast<unsigned char>(confined[first]) <= ' ') ++first;
  if (first < confined.size() && confined[first] == '/') confined.insert(first, folder_);
  return confined;
}

uint64_t Sandbox::TreeState() const {
  uint64_t state = 0;
  for (const Item& item : kTree) {
    struct stat info;
    FUZZ_CHECK(fstatat(inside_.Get(), item.path, &info, AT_SYMLINK_NOFOLLOW) == 0);
    const int64_t changed = int64_t{info.st_ctim.tv_sec} * 1'000'000'000 + info.st_ctim.tv_nsec;
    state = state * 31 + static_cast<uint64_t>(changed);
  }
  return state;
}

Inside::Inside(const Sandbox& sandbox) : sandbox_(sandbox), open_(OpenDescriptors()) {
  FUZZ_CHECK(fchdir(sandbox_.inside_.Get()) == 0);
}

Inside::~Inside() {
  FUZZ_CHECK(fchdir(sandbox_.home_.Get()) == 0);
  FUZZ_CHECK(OpenDescriptors() == open_);
}

}  // namespace zem

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  // Held for the whole run: the fuzzer keeps pointers into them.
  static std::vector<std::string> texts(*argv, *argv + *argc);
  static std::vector<char*> pointers;
  zem::MakeAbsolute(&texts);
  for (std::string& text : texts) pointers.push_back(text.data());
  *argc = static_cast<int>(pointers.size());
  pointers.push_back(nullptr);
  *argv = pointers.data();
  return 0;
}
