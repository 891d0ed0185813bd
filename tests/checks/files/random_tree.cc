// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/random_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>

#include "plain_user.h"
#include "temp_dir.h"

namespace zem {

namespace {

class Filler {
 public:
  Filler(uint32_t seed, time_t now) : random_(seed), now_(now) {}

  void Fill(const std::string& folder, int depth) {
    folders_.push_back(folder);
    const int entries = Below(9);
    for (int i = 0; i < entries; ++i) Add(folder, depth);
  }

  // Last of all: permissions that would have kept the filler itself out.
  void Lock() {
    for (size_t i = folders_.size(); i-- > 1;) {
      static constexpr mode_t kModes[] = {0777, 0777, 0777, 0755, 0555, 0444, 0111, 0};
      chmod(folders_[i].c_str(), kModes[Below(8)]);
    }
  }

  std::vector<std::string> folders_;

 private:
  int Below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(random_); }

  std::string Name() {
    static const std::string kNames[] = {
        "a",   "b.log", ".hidden", "..x", "...",      "two words", " lead",
        "-",   "*",     "*.log",   "?",   "data",     "line\nend", "\xC3\xA9t\xE9\xFF",
        "[ab", "x.LOG", ".log",    "A",   "data.log", "\x01\x7F",  std::string(255, 'n')};
    return kNames[Below(static_cast<int>(std::size(kNames)))];
  }

  void Add(const std::string& folder, int depth) {
    std::string path = folder + "/" + Name();
    const int sort = Below(20);
    if (sort < 7 && depth > 0) {
      if (mkdir(path.c_str(), 0777) == 0) Fill(path, depth - 1);
      return;
    }
    const std::string link = Below(2) == 0 ? path : folder + "/ln" + std::to_string(Below(5));
    switch (sort) {
      case 7:
        (void)!symlink(folders_.front().c_str(), link.c_str());
        return;
      case 8:
        (void)!symlink("..", link.c_str());
        return;
      case 9:
        (void)!symlink("a", link.c_str());
        return;
      case 10:
        (void)!symlink("nowhere", link.c_str());
        return;
      case 11:
        mkfifo(path.c_str(), 0666);
        return;
      case 12:
        (void)mknod(path.c_str(), S_IFSOCK | 0666, 0);
        return;
      default:
        AddFile(path);
    }
  }

  void AddFile(const std::string& path) {
    static constexpr off_t kSizes[] = {0, 1, 99, 100, 101, 65536, 3'000'000'000, 1LL << 40};
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
    if (file < 0) return;
    (void)!ftruncate(file, kSizes[Below(8)]);
    static constexpr mode_t kModes[] = {0666, 0644, 0444, 0};
    fchmod(file, kModes[Below(4)]);
    close(file);
    SetTimes(path, now_ + 30 * (Below(21) - 10));
  }

  std::mt19937 random_;
  const time_t now_;
};

}  // namespace

std::vector<std::string> FillRandomTree(const std::string& top, uint32_t seed, time_t now) {
  const mode_t mask = umask(0);
  mkdir(top.c_str(), 0777);
  Filler filler(seed, now);
  for (int i = 0; i < 3; ++i) filler.Fill(top, 4);
  umask(mask);
  filler.Lock();
  return filler.folders_;
}

}  // namespace zem
