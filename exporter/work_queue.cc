// SPDX-License-Identifier: BSD-2-Clause
#include "work_queue.h"

#include <algorithm>
#include <cstddef>

namespace zem::exporter {

namespace {

// Keys come from requests: what is remembered of them is bounded.
constexpr size_t kMostSlowKeys = 10'000;
// Of one key: a host that hangs leaves room for the others, whoever asks for it how often.
constexpr ptrdiff_t kMostWaitingEach = 16;
// How soon a job is told that its time is over, when no other event comes before.
constexpr client::Milliseconds kTick{250};

}  // namespace

WorkQueue::WorkQueue(size_t workers, size_t most_waiting)
    : most_waiting_(most_waiting), most_slow_(std::max<size_t>(workers / 2, 1)) {
  for (size_t i = 0; i < workers; ++i) threads_.emplace_back([this] { Work(); });
}

WorkQueue::~WorkQueue() {
  {
    const std::lock_guard lock(mutex_);
    over_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool WorkQueue::Push(Job job) {
  {
    const std::lock_guard lock(mutex_);
    const auto same = std::count_if(jobs_.begin(), jobs_.end(),
                                    [&](const Job& each) { return each.key == job.key; });
    if (jobs_.size() >= most_waiting_ || same >= kMostWaitingEach) return false;
    jobs_.push_back(std::move(job));
  }
  changed_.notify_one();
  return true;
}

size_t WorkQueue::Waiting() const {
  const std::lock_guard lock(mutex_);
  return jobs_.size();
}

size_t WorkQueue::Running() const {
  const std::lock_guard lock(mutex_);
  return running_.size();
}

std::deque<Job>::iterator WorkQueue::Next() {
  return std::find_if(jobs_.begin(), jobs_.end(), [this](const Job& job) {
    if (job.deadline.HasPassed()) return true;
    if (running_.contains(job.key)) return false;
    return slow_running_ < most_slow_ || !slow_.contains(job.key);
  });
}

void WorkQueue::Run(Job job, std::unique_lock<std::mutex>* lock) {
  // A job that comes too late only says so, and holds nobody up.
  const bool is_late = job.deadline.HasPassed();
  const bool was_slow = !is_late && slow_.contains(job.key);
  if (!is_late) running_.insert(job.key);
  slow_running_ += was_slow ? 1 : 0;
  lock->unlock();
  const bool is_slow = job.run();
  job.run = nullptr;
  lock->lock();
  if (is_late) return;
  slow_running_ -= was_slow ? 1 : 0;
  running_.erase(job.key);
  if (!is_slow) {
    slow_.erase(job.key);
  } else {
    if (slow_.size() >= kMostSlowKeys) slow_.clear();
    slow_.insert(job.key);
  }
}

void WorkQueue::Work() {
  std::unique_lock lock(mutex_);
  while (!over_) {
    const auto next = Next();
    if (next != jobs_.end()) {
      Job job = std::move(*next);
      jobs_.erase(next);
      Run(std::move(job), &lock);
    } else if (jobs_.empty()) {
      changed_.wait(lock);
    } else {
      changed_.wait_for(lock, kTick);
    }
  }
}

}  // namespace zem::exporter
