// SPDX-License-Identifier: BSD-2-Clause
// A fixed number of workers and a queue of fixed length, fair to the quick.
//
// One job a key at a time, so that nobody is asked by two at once. A key whose last job was slow (a
// dead host waits for its time-out) may keep half of the workers at most: the others always find
// the other half.
// Threads: any; jobs run on the workers.

#ifndef ZEM_EXPORTER_WORK_QUEUE_H_
#define ZEM_EXPORTER_WORK_QUEUE_H_

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "wire/deadline.h"

namespace zem::exporter {

struct Job {
  std::string key;
  client::Deadline deadline;
  // Runs also when the deadline has passed in the queue: to say so. True = it was slow.
  std::function<bool()> run;
};

class WorkQueue {
 public:
  WorkQueue(size_t workers, size_t most_waiting);
  // Waits for the jobs that run; those that wait are dropped.
  ~WorkQueue();
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  // False when the queue is full, or holds enough of this key.
  [[nodiscard]] bool Push(Job job);
  size_t Waiting() const;
  size_t Running() const;

 private:
  void Work();
  std::deque<Job>::iterator Next();
  void Run(Job job, std::unique_lock<std::mutex>* lock);

  const size_t most_waiting_;
  const size_t most_slow_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by mutex_.
  std::deque<Job> jobs_;
  std::set<std::string> running_;
  std::set<std::string> slow_;
  size_t slow_running_ = 0;
  bool over_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_WORK_QUEUE_H_
