// SPDX-License-Identifier: BSD-2-Clause
#include "core/environment.h"

#include <cstdlib>
#include <utility>

#include "core/mutex.h"
#include "text/file_info.h"
#include "text/path.h"

namespace zem {

namespace {

Mutex environment_lock;

}  // namespace

std::optional<OvString> TempDirectoryFromEnvironment() {
  MutexLock lock(&environment_lock);
  for (const char* name : {"TMPDIR", "TMP"}) {
    const char* value = getenv(name);  // NOLINT(concurrency-mt-unsafe): under the lock
    if (value != nullptr) return OvString(value);
  }
  return std::nullopt;
}

void ExportTempDirectory(const OvString& configured) {
  OvString directory = configured;
  if (directory.IsEmpty() || !DirectoryExists(directory)) {
    std::optional<OvString> inherited = TempDirectoryFromEnvironment();
    directory = inherited && DirectoryExists(*inherited) ? std::move(*inherited) : OvString(".");
  }
  directory = ExcludeTrailingPathDelimiter(directory);
  MutexLock lock(&environment_lock);
  const char* present = getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe): under the lock
  if (present != nullptr && directory == present) return;
  setenv("TMPDIR", directory.CStr(), 1);  // NOLINT(concurrency-mt-unsafe): under the lock
}

}  // namespace zem
