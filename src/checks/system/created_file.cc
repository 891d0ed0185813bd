// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/created_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
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
  // With a byte in it the file is changed by being emptied, on every file system. Lengthening takes
  // no block, so it works on a full disk too.
  constexpr timespec kEpoch[2] = {};
  return ftruncate(fd.Get(), 1) == 0 && futimens(fd.Get(), kEpoch) == 0;
}

bool CreatedFile::IsUntouched() const {
  return FileAge(path_) == 0;
}

void RemoveCreatedFiles() {
  Present().Remove();
}

}  // namespace zem
