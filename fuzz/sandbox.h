// SPDX-License-Identifier: BSD-2-Clause
// A folder of the run's own with a small tree in it, and the ways to keep an input inside.
//
// Targets that use it link sandbox.cc, which keeps the fuzzer's own output where it was asked for
// although an input runs in another working directory. The folder lies in $TMPDIR or in memory and
// goes when the run ends; a run that ends by a finding leaves it for inspection.
// Threads: one.

#ifndef ZEM_FUZZ_SANDBOX_H_
#define ZEM_FUZZ_SANDBOX_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "core/scratch.h"
#include "core/unique_fd.h"

namespace zem {

class Sandbox {
 public:
  Sandbox();

  // Without a final "/".
  const std::string& Folder() const { return folder_; }
  const Scratch& Files() const { return files_; }

  // A path from outside that can only lead into the folder: an absolute one gets the folder put
  // before it, and nothing leads upwards. Relative ones are safe as they are (see Inside).
  std::string Confined(std::string_view path) const;

  // Changes when anything was added to the tree, removed from it or written.
  uint64_t TreeState() const;

 private:
  friend class Inside;

  Scratch files_;
  std::string folder_;
  UniqueFd inside_;
  UniqueFd home_;
};

// The working directory is the sandbox while one lives. It also watches that no descriptor stays
// open behind an input.
class Inside {
 public:
  explicit Inside(const Sandbox& sandbox);
  ~Inside();
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

 private:
  const Sandbox& sandbox_;
  const uint64_t open_;
};

}  // namespace zem

#endif  // ZEM_FUZZ_SANDBOX_H_
