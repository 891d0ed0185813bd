// SPDX-License-Identifier: BSD-2-Clause
// A mutex whose claims Clang checks (-Wthread-safety), its scoped lock and its condition.
//
// No lock is taken while another is held, and nothing blocks under one but the file work that the
// log lock is for.

#ifndef ZEM_CORE_MUTEX_H_
#define ZEM_CORE_MUTEX_H_

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define ZEM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZEM_THREAD_ANNOTATION(x)
#endif

#define ZEM_CAPABILITY(name) ZEM_THREAD_ANNOTATION(capability(name))
#define ZEM_SCOPED_CAPABILITY ZEM_THREAD_ANNOTATION(scoped_lockable)
#define ZEM_GUARDED_BY(mutex) ZEM_THREAD_ANNOTATION(guarded_by(mutex))
#define ZEM_REQUIRES(mutex) ZEM_THREAD_ANNOTATION(requires_capability(mutex))
#define ZEM_ACQUIRE(...) ZEM_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ZEM_RELEASE(...) ZEM_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define ZEM_NO_THREAD_SAFETY_ANALYSIS ZEM_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace zem {

class ZEM_CAPABILITY("mutex") Mutex {
 public:
  void Lock() ZEM_ACQUIRE() { mutex_.lock(); }
  void Unlock() ZEM_RELEASE() { mutex_.unlock(); }

 private:
  friend class Condition;
  std::mutex mutex_;
};

class ZEM_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex* mutex) ZEM_ACQUIRE(mutex) : mutex_(mutex) { mutex_->Lock(); }
  ~MutexLock() ZEM_RELEASE() { mutex_->Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex* const mutex_;
};

class Condition {
 public:
  // Releases the mutex while waiting; may return early, so test what is waited for in a loop.
  void Wait(Mutex* mutex) ZEM_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex->mutex_, std::adopt_lock);
    condition_.wait(lock);
    lock.release();
  }
  // The same until a moment has come; false when it has.
  bool WaitUntil(Mutex* mutex, std::chrono::steady_clock::time_point moment) ZEM_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex->mutex_, std::adopt_lock);
    const bool early = condition_.wait_until(lock, moment) == std::cv_status::no_timeout;
    lock.release();
    return early;
  }
  void NotifyOne() { condition_.notify_one(); }

 private:
  std::condition_variable condition_;
};

}  // namespace zem

#endif  // ZEM_CORE_MUTEX_H_
