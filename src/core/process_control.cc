// SPDX-License-Identifier: BSD-2-Clause
#include "core/process_control.h"

#include <fcntl.h>
#include <unistd.h>

#include <ctime>
#include <utility>

namespace zem {

bool ProcessControl::OpenWakeUp() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  wake_read_.Reset(ends[0]);
  wake_write_.Reset(ends[1]);
  return true;
}

void ProcessControl::WakeMainThread() {
  const char byte = 0;
  // A full pipe is a wake-up already.
  (void)!write(wake_write_.Get(), &byte, 1);
}

void ProcessControl::DrainWakeUp() {
  char bytes[64];
  while (read(wake_read_.Get(), bytes, sizeof(bytes)) == sizeof(bytes)) {
  }
}

void ProcessControl::SessionOpened() {
  MutexLock lock(&lock_);
  ++counters_.active;
  ++counters_.opened;
}

void ProcessControl::SessionClosed(const SessionRequests& requests) {
  bool upgrade_ready = false;
  {
    MutexLock lock(&lock_);
    --counters_.active;
    upgrade_ready = !upgrade_path_.IsEmpty();
    if (requests.terminate) terminate_.store(true);
    if (requests.restart) restart_.store(true);
    if (upgrade_ready) upgrade_.store(true);
  }
  if (requests.terminate || requests.restart || upgrade_ready || wake_on_close_.load()) {
    WakeMainThread();
  }
}

void ProcessControl::ConnectionRejected() {
  MutexLock lock(&lock_);
  ++counters_.rejected;
}

SessionCounters ProcessControl::Counters() const {
  MutexLock lock(&lock_);
  return counters_;
}

OvString ProcessControl::UpgradePath() const {
  MutexLock lock(&lock_);
  return upgrade_path_;
}

void ProcessControl::ClearUpgrade() {
  RemoveUpgradeFiles();
  MutexLock lock(&lock_);
  upgrade_.store(false);
  upgrade_path_.Clear();
  upgrade_slot_taken_ = false;
}

bool ProcessControl::ClaimUpgradeSlot() {
  MutexLock lock(&lock_);
  if (upgrade_slot_taken_) return false;
  upgrade_slot_taken_ = true;
  return true;
}

void ProcessControl::AddUpgradeFile(MadeFile file) {
  MutexLock lock(&lock_);
  upgrade_files_.push_back(std::move(file));
}

void ProcessControl::RemoveUpgradeFiles() {
  std::vector<MadeFile> files;
  {
    MutexLock lock(&lock_);
    files.swap(upgrade_files_);
  }
  for (const MadeFile& file : files) file.Remove();
}

void ProcessControl::ReleaseUpgradeSlot() {
  RemoveUpgradeFiles();  // first: the next holder's have the same names
  MutexLock lock(&lock_);
  upgrade_slot_taken_ = false;
}

void ProcessControl::SetUpgradePath(const OvString& path) {
  MutexLock lock(&lock_);
  upgrade_path_ = path;
}

bool ProcessControl::BeginReply() {
  MutexLock lock(&lock_);
  if (replies_stopped_) return false;
  ++replies_under_way_;
  return true;
}

void ProcessControl::EndReply() {
  MutexLock lock(&lock_);
  --replies_under_way_;
}

void ProcessControl::StopReplies(int seconds) {
  constexpr int kPausesPerSecond = 100;
  for (int pauses = seconds * kPausesPerSecond;; --pauses) {
    {
      MutexLock lock(&lock_);
      replies_stopped_ = true;
      if (replies_under_way_ == 0 || pauses == 0) return;
    }
    const timespec pause = {0, 1'000'000'000 / kPausesPerSecond};
    nanosleep(&pause, nullptr);
  }
}

void ProcessControl::ResumeReplies() {
  MutexLock lock(&lock_);
  replies_stopped_ = false;
}

}  // namespace zem
