// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/created_file.h"

#include <unistd.h>

#include <cstdio>
#include <vector>

#include "core/mutex.h"
#include "text/file_info.h"

namespace zem {

namespace {

// What a script prints is for the agent alone.
constexpr mode_t kOutputMode = 0600;

// The files of all sessions, whose destructors a restart never reaches.
class PresentFiles {
 public:
  void Add(const OvString& path) {
    MutexLock lock(&lock_);
    paths_.push_back(path);
  }
  void Forget(const OvString& path) {
    MutexLock lock(&lock_);
    std::erase(paths_, path);
  }
  void Remove() {
    MutexLock lock(&lock_);
    for (const OvString& path : paths_) (void)RemoveFile(path);
    paths_.clear();
  }

 private:
  Mutex lock_;
  std::vector<OvString> paths_ ZEM_GUARDED_BY(lock_);
};

PresentFiles& Present() {
  static PresentFiles& present = *new PresentFiles;  // never destroyed: sessions outlive main
  return present;
}

}  // namespace

CreatedFile::~CreatedFile() {
  if (path_.IsEmpty()) return;
  (void)RemoveFile(path_);  // may be gone: a script can remove it too
  Present().Forget(path_);
}

UniqueFd CreatedFile::Create(const char* path, mode_t mode) {
  UniqueFd fd = CreateExclusively(path, mode);
  if (fd.IsOpen()) {
    path_ = path;
    Present().Add(path_);
  }
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

void RemoveCreatedFiles() {
  Present().Remove();
}

}  // namespace zem
