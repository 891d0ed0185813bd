// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "text/file_info.h"

namespace zem {

UniqueFd OpenRegularFile(const OvString& path) {
  if (HoldsZeroByte(path)) {
    errno = ENOENT;
    return {};
  }
  UniqueFd file(open(path.CStr(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
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
