// SPDX-License-Identifier: BSD-2-Clause
// Small questions about one path, shared by everything that works with files.
//
// Shapes:  a path that holds a zero byte names nothing: it does not exist.
// Errors:  any failure of the system reads as "no" or -1.
// Threads: any.

#ifndef ZEM_TEXT_FILE_INFO_H_
#define ZEM_TEXT_FILE_INFO_H_

#include <sys/stat.h>

#include <cstdint>

#include "text/ovstring.h"

namespace zem {

// `stat` and `lstat` of a path; false leaves errno as the system set it.
[[nodiscard]] bool StatPath(const OvString& path, struct stat* info);
[[nodiscard]] bool LinkStatPath(const OvString& path, struct stat* info);

// Both follow symbolic links.
bool DirectoryExists(const OvString& path);
bool IsRegularFile(const OvString& path);

// Modification time in seconds since the epoch and size in bytes, links followed; -1 on failure.
int64_t FileAge(const OvString& path);
int64_t FileSize(const OvString& path);

bool RemoveFile(const OvString& path);

// A file that was made under a name. The name may have been taken for another one since.
class MadeFile {
 public:
  // `fd` is open on the file.
  MadeFile(const OvString& path, int fd);
  // True when the path still names it; `found` is what stands there.
  [[nodiscard]] bool IsThere(struct stat* found) const;
  // Does nothing where something else stands in its place.
  void Remove() const;

 private:
  OvString path_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

// The working directory, without a final "/"; empty when it cannot be told in 4,095 bytes.
OvString GetCurrentDir();

// True when the text holds a zero byte and so cannot be handed to the system as a path.
bool HoldsZeroByte(const OvString& path);

}  // namespace zem

#endif  // ZEM_TEXT_FILE_INFO_H_
