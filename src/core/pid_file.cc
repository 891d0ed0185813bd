// SPDX-License-Identifier: BSD-2-Clause
#include "core/pid_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace zem {

namespace {

constexpr mode_t kPidFileMode = 0644;

// A lock of the process: it goes as soon as any descriptor of the file is closed, so a check of the
// agent's own pid file gives it up.
bool Lock(int descriptor) {
  struct flock whole_file = {};
  whole_file.l_type = F_WRLCK;
  whole_file.l_whence = SEEK_SET;
  return fcntl(descriptor, F_SETLK, &whole_file) == 0;
}

}  // namespace

// Through no link: the folder may be the agent's user's, and the agent is started by root. A file
// that cannot be written is kept all the same: its lock says that an agent runs, and the end of
// that agent removes it.
void PidFile::CreateAndLock(const OvString& path, ActivityLog* log) {
  UniqueFd file(
      open(path.CStr(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, kPidFileMode));
  if (!file.IsOpen()) {
    log->WriteLogFormat(0, LogKind::kFailure, "Failed to create pid file %s\n", path.CStr());
    return;
  }
  if (!Lock(file.Get())) {
    log->WriteLogFormat(0, LogKind::kFailure, "Failed to lock pid file %s\n", path.CStr());
    return;
  }
  const OvString number = OvString().AppendInt(getpid()).Append('\n');
  if (ftruncate(file.Get(), 0) != 0 || !WriteAll(file.Get(), number)) {
    log->WriteLogFormat(0, LogKind::kFailure, "Failed to create pid file %s\n", path.CStr());
  }
  path_ = path;
  file_ = std::move(file);
}

void PidFile::Remove() {
  if (!file_.IsOpen()) return;
  file_.Reset();
  unlink(path_.CStr());
}

}  // namespace zem
