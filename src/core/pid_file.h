// SPDX-License-Identifier: BSD-2-Clause
// The pid file: the process id, write-locked for as long as the agent runs.
//
// The file is opened without truncation and locked before it is written, so a second agent that
// does not get the lock leaves the first one's number alone.
// Threads: the main thread.

#ifndef ZEM_CORE_PID_FILE_H_
#define ZEM_CORE_PID_FILE_H_

#include "core/activity_log.h"
#include "core/unique_fd.h"
#include "text/ovstring.h"

namespace zem {

class PidFile {
 public:
  // A failure is logged and tolerated: the agent then runs without the file.
  void CreateAndLock(const OvString& path, ActivityLog* log);
  // Closes and deletes the file, if there is one.
  void Remove();
  // The path of the file held, or null.
  const char* HeldPath() const { return file_.IsOpen() ? path_.CStr() : nullptr; }

 private:
  OvString path_;
  UniqueFd file_;
};

}  // namespace zem

#endif  // ZEM_CORE_PID_FILE_H_
