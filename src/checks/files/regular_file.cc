// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "text/file_info.h"

namespace zem {

namespace {

// Never waits for a pipe's other end. What is waited for is another process that holds a lease on
// the file, as file servers do for their clients: it is told to give way, and the system ends the
// lease of one that does not (after 45 seconds, unless it was told otherwise).
UniqueFd OpenPastLeases(const char* path) {
  constexpr int kMostWaits = 1200;
  constexpr useconds_t kPause = 50'000;
  for (int waits = 0;; ++waits) {
    UniqueFd file(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.IsOpen() || errno != EWOULDBLOCK || waits == kMostWaits) return file;
    usleep(kPause);
  }
}

}  // namespace

UniqueFd OpenRegularFile(const OvString& path) {
  if (HoldsZeroByte(path)) {
    errno = ENOENT;
    return {};
  }
  UniqueFd file = OpenPastLeases(path.CStr());
  struct stat info;
  if (!file.IsOpen() || fstat(file.Get(), &info) != 0) return {};
  if (!S_ISREG(info.st_mode)) {
    errno = EINVAL;
    return {};
  }
  return file;
}

ReadResult ReadBlock(int file, char* buffer, size_t size) {
  ReadResult result;
  while (result.bytes < size) {
    const ssize_t count = read(file, buffer + result.bytes, size - result.bytes);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) result.failed = true;
    if (count <= 0) break;
    result.bytes += static_cast<size_t>(count);
  }
  return result;
}

std::unique_ptr<char[]> MakeBuffer(size_t size) {
  return std::unique_ptr<char[]>(new (std::nothrow) char[size]);
}

}  // namespace zem
