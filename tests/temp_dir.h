// SPDX-License-Identifier: BSD-2-Clause
// A folder of a test's own, gone with the test, and the few calls that fill it and look into it.

#ifndef ZEM_TESTS_TEMP_DIR_H_
#define ZEM_TESTS_TEMP_DIR_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace zem {

inline void WriteFile(const std::string& path, std::string_view text) {
  std::ofstream(path, std::ios::binary) << text;
}

// Empty when the file is not there.
inline std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline bool FileExists(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

inline std::vector<std::string> ListDir(const std::string& path) {
  std::vector<std::string> names;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(path, ignored)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

inline void SetTimes(const std::string& path, time_t modification) {
  const timespec times[] = {{modification, 0}, {modification, 0}};
  if (utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) abort();
}

inline bool Holds(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

class TempDir {
 public:
  // In `parent` where that exists. Not where TMPDIR says: some tests set it.
  explicit TempDir(const std::string& parent = "/tmp") {
    path_ = (std::filesystem::is_directory(parent) ? parent : "/tmp") + "/zem-test-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) abort();
    chmod(path_.c_str(), 0755);  // other users are let in by some tests
  }
  ~TempDir() {
    std::error_code ignored;
    if (geteuid() != 0) Unlock();
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return path_; }
  std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

 private:
  void Unlock() {
    std::error_code ignored;
    using std::filesystem::recursive_directory_iterator;
    for (recursive_directory_iterator it(path_, ignored), end; it != end; it.increment(ignored)) {
      if (it->is_directory(ignored) && !it->is_symlink(ignored)) chmod(it->path().c_str(), 0700);
    }
  }

  std::string path_;
};

}  // namespace zem

#endif  // ZEM_TESTS_TEMP_DIR_H_
