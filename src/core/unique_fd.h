// SPDX-License-Identifier: BSD-2-Clause
// One open descriptor, closed when its owner goes.
//
// Start-up opens descriptors 0 to 2, so 0 never names anything else; -1 means none.
// Threads: as any value: one owner.

#ifndef ZEM_CORE_UNIQUE_FD_H_
#define ZEM_CORE_UNIQUE_FD_H_

#include <dirent.h>
#include <netdb.h>
#include <sys/types.h>

#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

#include "text/ovstring.h"

namespace zem {

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    Reset(std::exchange(other.fd_, -1));
    return *this;
  }
  ~UniqueFd() { Reset(); }

  int Get() const { return fd_; }
  bool IsOpen() const { return fd_ >= 0; }
  int Release() { return std::exchange(fd_, -1); }
  // Closes what it holds and takes `fd`; errno is left as it was.
  void Reset(int fd = -1);

 private:
  int fd_ = -1;
};

struct FileCloser {
  void operator()(FILE* file) const { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

struct DirCloser {
  void operator()(DIR* dir) const { closedir(dir); }
};
using DirPtr = std::unique_ptr<DIR, DirCloser>;

struct AddrInfoFreer {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddrInfoPtr = std::unique_ptr<addrinfo, AddrInfoFreer>;

// Opens an existing file for reading, close-on-exec; null leaves errno as the system set it. A
// path that holds a zero byte names no file.
FilePtr OpenForReading(const OvString& path);

// Writes all bytes to a file, past interruptions and short writes; false leaves errno set.
[[nodiscard]] bool WriteAll(int fd, std::string_view bytes);

// Brings a file to the disk, past interruptions; false leaves errno set.
[[nodiscard]] bool SyncToDisk(int fd);

// Makes a file that did not exist: exclusively, never through a link, close-on-exec. -1 in the
// result leaves errno set.
UniqueFd CreateExclusively(const OvString& path, mode_t mode);

}  // namespace zem

#endif  // ZEM_CORE_UNIQUE_FD_H_
