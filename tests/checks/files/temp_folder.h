// SPDX-License-Identifier: BSD-2-Clause
// A folder of a test's own, removed with all it holds when the test ends; and the few calls that
// fill it.

#ifndef ZEM_TESTS_CHECKS_FILES_TEMP_FOLDER_H_
#define ZEM_TESTS_CHECKS_FILES_TEMP_FOLDER_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

namespace zem {

class TempFolder {
 public:
  TempFolder() : TempFolder(std::filesystem::temp_directory_path()) {}
  // In `parent` where that exists.
  explicit TempFolder(std::filesystem::path parent) {
    if (!std::filesystem::is_directory(parent)) parent = std::filesystem::temp_directory_path();
    std::string pattern = parent.string() + "/zem-files-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) abort();
    path_ = pattern;
    chmod(path_.c_str(), 0755);  // other users are let in by some tests
  }
  ~TempFolder() {
    std::error_code ignored;
    if (geteuid() != 0) Unlock();
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& Path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  void Unlock() {
    std::error_code ignored;
    using std::filesystem::recursive_directory_iterator;
    chmod(path_.c_str(), 0700);
    for (recursive_directory_iterator it(path_, ignored), end; it != end; it.increment(ignored)) {
      if (it->is_directory(ignored) && !it->is_symlink(ignored)) {
        chmod(it->path().c_str(), 0700);
      }
    }
  }

  std::string path_;
};

inline void WriteFile(const std::string& path, const std::string& contents) {
  unlink(path.c_str());  // cheaper than to truncate it, which some file systems make safe and slow
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
  ASSERT_GE(file, 0) << path;
  ASSERT_EQ(write(file, contents.data(), contents.size()), static_cast<ssize_t>(contents.size()));
  close(file);
}

inline void SetTimes(const std::string& path, time_t modification) {
  const timespec times[] = {{.tv_sec = modification, .tv_nsec = 0},
                            {.tv_sec = modification, .tv_nsec = 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

// Runs checks as a user whom permissions bind, in a process of their own: the superuser becomes
// another user there. True when every expectation held.
inline bool HoldsForPlainUser(const std::function<void()>& checks) {
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(3);
    checks();
    fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

}  // namespace zem

#endif  // ZEM_TESTS_CHECKS_FILES_TEMP_FOLDER_H_
