// SPDX-License-Identifier: BSD-2-Clause
// Reading the contents of a file that somebody else may change, truncate or replace meanwhile.
//
// Errors:  errno is left as the system set it.
// Threads: any.

#ifndef ZEM_CHECKS_FILES_REGULAR_FILE_H_
#define ZEM_CHECKS_FILES_REGULAR_FILE_H_

#include <cstddef>
#include <memory>

#include "core/unique_fd.h"
#include "text/ovstring.h"

namespace zem {

// How much is read at a time: enough to make the calls cheap, and small enough that the bytes are
// still in the processor's cache when they are looked at.
inline constexpr size_t kReadBlock = 64 * 1024;

// Opens a file for reading, links followed. Only a regular file is opened: a pipe put in its
// place is refused and never waited for. A file under another process's lease is waited for, at
// most a minute.
UniqueFd OpenRegularFile(const OvString& path);

struct ReadResult {
  size_t bytes = 0;
  bool failed = false;  // after those bytes
};

// Reads until the buffer is full; fewer bytes without a failure mean the end of the file.
ReadResult ReadBlock(int file, char* buffer, size_t size);

// A buffer that is not filled with anything; null when there is no memory.
std::unique_ptr<char[]> MakeBuffer(size_t size);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_REGULAR_FILE_H_
