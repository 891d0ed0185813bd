// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/created_file.h"

#include <unistd.h>

#include <cstdio>

#include "text/file_info.h"

namespace zem {

namespace {

// What a script prints is for the agent alone.
constexpr mode_t kOutputMode = 0600;

}  // namespace

CreatedFile::~CreatedFile() {
  if (!path_.IsEmpty()) (void)RemoveFile(path_);  // may be gone: a script can remove it too
}

UniqueFd CreatedFile::Create(const char* path, mode_t mode) {
  UniqueFd fd = CreateExclusively(path, mode);
  if (fd.IsOpen()) path_ = path;
  return fd;
}

bool CreatedFile::CreateForOutput(const char* path) {
  (void)RemoveFile(path);  // usually there is none
  return Create(path, kOutputMode).IsOpen();
}

bool CreatedFile::CreateForShell(const char* path) {
  (void)RemoveFile(path);  // usually there is none
  const UniqueFd fd = Create(path, kOutputMode);
  if (!fd.IsOpen()) return false;
  // Lengthening takes no block, so it works on a full disk too.
  return ftruncate(fd.Get(), 1) == 0;
}

bool CreatedFile::IsUntouched() const {
  if (FileSize(path_) != 1) return false;
  const FilePtr file = OpenForReading(path_);
  return file != nullptr && getc(file.get()) == '\0';
}

}  // namespace zem
