// SPDX-License-Identifier: BSD-2-Clause
// What sessions, signal handlers and the main thread tell one another.
//
// Sessions raise requests and count themselves; the main thread polls and acts. A session raises a
// request at its very end, so that the answer which announces an exit is sent before the exit.
// Threads: any, unless a line says otherwise.

#ifndef ZEM_CORE_PROCESS_CONTROL_H_
#define ZEM_CORE_PROCESS_CONTROL_H_

#include <atomic>
#include <cstdint>
#include <vector>

#include "core/mutex.h"
#include "core/unique_fd.h"
#include "text/file_info.h"
#include "text/ovstring.h"

namespace zem {

struct SessionCounters {
  int32_t active = 0;
  int32_t opened = 0;
  int32_t rejected = 0;
};

// What a session asks of the main thread; handed over when the session has closed.
struct SessionRequests {
  bool terminate = false;
  bool restart = false;
};

class ProcessControl {
 public:
  // Opens the descriptor through which the main thread is woken; false leaves errno set.
  [[nodiscard]] bool OpenWakeUp();
  // Readable when somebody wants the main thread's attention.
  int WakeUpFd() const { return wake_read_.Get(); }
  // For signal handlers, which write a byte themselves.
  int WakeUpWriteFd() const { return wake_write_.Get(); }
  void WakeMainThread();
  // Main thread: takes the bytes out of the pipe.
  void DrainWakeUp();

  void SessionOpened();
  // Counts the session out and raises what it asked for, and the upgrade when its file is ready.
  // Wakes the main thread if there is something for it to do.
  void SessionClosed(const SessionRequests& requests);
  void ConnectionRejected();
  SessionCounters Counters() const;
  // Main thread: whether it wants to be woken by the next session that closes.
  void WakeOnSessionClose(bool wanted) { wake_on_close_.store(wanted); }

  // Main thread.
  bool TerminateRequested() const { return terminate_.load(); }
  bool RestartRequested() const { return restart_.load(); }
  bool UpgradeRequested() const { return upgrade_.load(); }
  void RequestRestart() { restart_.store(true); }
  void ClearRestart() { restart_.store(false); }
  OvString UpgradePath() const;
  // After a failed upgrade: clears the request and the path and frees the slot.
  void ClearUpgrade();
  // Before an exit and an exec that is not the upgrade's: nobody would install its files any more.
  void RemoveUpgradeFiles();

  // The agent-wide upgrade slot, and the files made by who holds it. They go when it is released,
  // but only while they are the ones that were made.
  [[nodiscard]] bool ClaimUpgradeSlot();
  void AddUpgradeFile(MadeFile file);
  void ReleaseUpgradeSlot();
  void SetUpgradePath(const OvString& path);

  // A reply is sent between these two. BeginReply answers false when the process is about to
  // exec or exit: then nothing may be sent, so no peer ever gets half a reply.
  [[nodiscard]] bool BeginReply();
  void EndReply();
  // Main thread: lets no further reply begin and waits for those under way, at most `seconds`.
  void StopReplies(int seconds);
  void ResumeReplies();

 private:
  UniqueFd wake_read_;
  UniqueFd wake_write_;

  std::atomic<bool> terminate_{false};
  std::atomic<bool> restart_{false};
  std::atomic<bool> upgrade_{false};
  std::atomic<bool> wake_on_close_{false};

  mutable Mutex lock_;
  SessionCounters counters_ ZEM_GUARDED_BY(lock_);
  bool upgrade_slot_taken_ ZEM_GUARDED_BY(lock_) = false;
  OvString upgrade_path_ ZEM_GUARDED_BY(lock_);
  std::vector<MadeFile> upgrade_files_ ZEM_GUARDED_BY(lock_);
  int replies_under_way_ ZEM_GUARDED_BY(lock_) = 0;
  bool replies_stopped_ ZEM_GUARDED_BY(lock_) = false;
};

}  // namespace zem

#endif  // ZEM_CORE_PROCESS_CONTROL_H_
