// SPDX-License-Identifier: BSD-2-Clause
// Everything in which FreeBSD and Linux differ. Each system has one file that defines these.

#ifndef ZEM_CORE_PLATFORM_H_
#define ZEM_CORE_PLATFORM_H_

#include <signal.h>

#include <cstdint>

namespace zem {

// Block counts of the file system that holds a path, in units of `block_size` bytes.
struct FileSystemSpace {
  uint64_t block_size = 0;
  uint64_t blocks = 0;
  uint64_t free_blocks = 0;      // the superuser's reserve included
  int64_t available_blocks = 0;  // may be below 0 where the reserve is in use
};

// One `statfs`; false leaves errno as the system set it. Any thread.
[[nodiscard]] bool QueryFileSystem(const char* path, FileSystemSpace* space);

// True for the errors of accept that belong to one connection, or to the network at the moment,
// and say nothing about the listener.
bool IsPassingAcceptError(int error_number);

// Whether the system raised this signal for a fault of the running thread (and nobody sent it).
// Async-signal-safe.
bool IsOwnFault(const siginfo_t& info);

// Has all threads allocate from one heap: those that threads have of their own return their last
// pages late or never. Called by main before any other thread.
void UseOneHeap();

// Gives memory that the allocator keeps for later back to the system. Any thread; takes about a
// millisecond, in which other threads may wait to allocate.
void ReturnFreeMemory();

}  // namespace zem

#endif  // ZEM_CORE_PLATFORM_H_
