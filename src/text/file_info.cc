// SPDX-License-Identifier: BSD-2-Clause
#include "text/file_info.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace zem {

bool HoldsZeroByte(const OvString& path) {
  return path.Find('\0') != 0;
}

bool StatPath(const OvString& path, struct stat* info) {
  if (HoldsZeroByte(path)) {
    errno = ENOENT;
    return false;
  }
  return stat(path.CStr(), info) == 0;
}

bool LinkStatPath(const OvString& path, struct stat* info) {
  if (HoldsZeroByte(path)) {
    errno = ENOENT;
    return false;
  }
  return lstat(path.CStr(), info) == 0;
}

bool DirectoryExists(const OvString& path) {
  struct stat info;
  return StatPath(path, &info) && S_ISDIR(info.st_mode);
}

bool IsRegularFile(const OvString& path) {
  struct stat info;
  return StatPath(path, &info) && S_ISREG(info.st_mode);
}

int64_t FileAge(const OvString& path) {
  struct stat info;
  return StatPath(path, &info) ? int64_t{info.st_mtime} : -1;
}

int64_t FileSize(const OvString& path) {
  struct stat info;
  return StatPath(path, &info) ? int64_t{info.st_size} : -1;
}

bool RemoveFile(const OvString& path) {
  return !HoldsZeroByte(path) && unlink(path.CStr()) == 0;
}

MadeFile::MadeFile(const OvString& path, int fd) : path_(path) {
  struct stat info;
  if (fstat(fd, &info) != 0) return;
  device_ = info.st_dev;
  inode_ = info.st_ino;
}

bool MadeFile::IsThere(struct stat* found) const {
  return LinkStatPath(path_, found) && found->st_dev == device_ && found->st_ino == inode_;
}

void MadeFile::Remove() const {
  struct stat found;
  if (IsThere(&found)) RemoveFile(path_);
}

OvString GetCurrentDir() {
  char buffer[4095];
  return getcwd(buffer, sizeof(buffer)) == nullptr ? "" : buffer;
}

}  // namespace zem
