// SPDX-License-Identifier: BSD-2-Clause
// A folder of a test's own, gone with the test.

#ifndef ZEM_TESTS_E2E_TEMP_DIR_H_
#define ZEM_TESTS_E2E_TEMP_DIR_H_

#include <string>
#include <vector>

namespace zem::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

void WriteFile(const std::string& path, const std::string& text);
// Empty when the file is not there.
std::string ReadFile(const std::string& path);
bool FileExists(const std::string& path);
std::vector<std::string> ListDir(const std::string& path);

}  // namespace zem::test

#endif  // ZEM_TESTS_E2E_TEMP_DIR_H_
