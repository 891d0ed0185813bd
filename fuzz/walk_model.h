// SPDX-License-Identifier: BSD-2-Clause
// The walks as one would write them without a thought for speed, memory or depth: every question
// asked anew with the full path, one recursive call a folder. The truth for the tests.

#ifndef ZEM_FUZZ_WALK_MODEL_H_
#define ZEM_FUZZ_WALK_MODEL_H_

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace zem::model {

struct Entry {
  std::string name;
  int64_t time;
  int64_t size;
  unsigned attributes;
  bool operator==(const Entry&) const = default;
};

// All entries that pass; empty also when the directory cannot be opened.
std::vector<Entry> Search(std::string directory, const std::string& mask, unsigned requested);
// -1 for a folder that fails.
double FolderSize(const std::string& path, bool with_subfolders);
int CountFiles(std::string folder, const std::string& mask, bool with_subfolders, int mode,
               int limit, time_t now);
std::string ResolveMacros(const std::string& path);

}  // namespace zem::model

#endif  // ZEM_FUZZ_WALK_MODEL_H_
