// SPDX-License-Identifier: BSD-2-Clause
#include "core/unique_fd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "text/file_info.h"

namespace zem {

void UniqueFd::Reset(int fd) {
  if (fd_ >= 0) {
    const int saved = errno;
    close(fd_);
    errno = saved;
  }
  fd_ = fd;
}

FilePtr OpenForReading(const OvString& path) {
  if (HoldsZeroByte(path)) {
    errno = ENOENT;
    return nullptr;
  }
  return FilePtr(fopen(path.CStr(), "re"));
}

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

bool SyncToDisk(int fd) {
  int result = 0;
  do {
    result = fsync(fd);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

UniqueFd CreateExclusively(const OvString& path, mode_t mode) {
  if (HoldsZeroByte(path)) {
    errno = ENOENT;
    return {};
  }
  return UniqueFd(open(path.CStr(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
}

}  // namespace zem
