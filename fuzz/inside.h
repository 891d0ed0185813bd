// SPDX-License-Identifier: BSD-2-Clause
// The agent among the files of memory_tree.h in place of the real ones: thousands a second come and
// go, nothing outside can be touched, and no input has to be kept inside a folder.
//
// The linker wraps the C library's functions on files (the list is in CMakeLists.txt): within
// Inside they work in memory, at any other time they are the real ones. Threads: one.

#ifndef ZEM_FUZZ_INSIDE_H_
#define ZEM_FUZZ_INSIDE_H_

#include <cstdint>

namespace zem {

// At its end no descriptor, of memory or of the system, may be open that was not before.
class Inside {
 public:
  Inside();
  ~Inside();
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

 private:
  const uint64_t open_;
};

}  // namespace zem

#endif  // ZEM_FUZZ_INSIDE_H_
