// SPDX-License-Identifier: BSD-2-Clause
// A folder of its own for one test, and what the tests of the configuration share.

#ifndef ZEM_TESTS_CORE_SCRATCH_H_
#define ZEM_TESTS_CORE_SCRATCH_H_

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "core/settings.h"

namespace zem {

class Scratch {
 public:
  explicit Scratch(const std::string& parent = "/tmp") : directory_(parent + "/zem-test-XXXXXX") {
    if (mkdtemp(directory_.data()) == nullptr) abort();
    chmod(directory_.c_str(), 0755);
  }
  ~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  std::string Path(const std::string& name = "") const { return directory_ + "/" + name; }
  bool Exists(const std::string& name) const {
    return std::filesystem::exists(std::filesystem::symlink_status(Path(name)));
  }
  void Write(const std::string& name, std::string_view text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
  }
  std::string Read(const std::string& name) const {
    if (!std::filesystem::is_regular_file(Path(name))) return "";
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string directory_;
};

// The superuser may do everything; this makes the process an ordinary user for a while.
class AsOrdinaryUser {
 public:
  AsOrdinaryUser() { changed_ = geteuid() == 0 && seteuid(65534) == 0; }
  ~AsOrdinaryUser() {
    if (changed_ && seteuid(0) != 0) abort();
  }

 private:
  bool changed_;
};

}  // namespace zem

#endif  // ZEM_TESTS_CORE_SCRATCH_H_
