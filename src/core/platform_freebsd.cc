// SPDX-License-Identifier: BSD-2-Clause
#include "core/platform.h"

#include <sys/param.h>

#include <sys/mount.h>

#include <cerrno>

namespace zem {

bool QueryFileSystem(const char* path, FileSystemSpace* space) {
  struct statfs info;
  if (statfs(path, &info) != 0) return false;
  space->block_size = static_cast<uint64_t>(info.f_bsize);
  space->blocks = info.f_blocks;
  space->free_blocks = info.f_bfree;
  space->available_blocks = static_cast<int64_t>(info.f_bavail);
  return true;
}

bool IsPassingAcceptError(int error_number) {
  switch (error_number) {
    case EINTR:
    case EAGAIN:
    case ECONNABORTED:
    case EPROTO:
    case ENETDOWN:
    case ENETUNREACH:
    case EHOSTDOWN:
    case EHOSTUNREACH:
    case ENOPROTOOPT:
    case EOPNOTSUPP:
      return true;
    default:
      return false;
  }
}

// Senders are numbered from 0x10001 up, the reasons of a fault are small numbers.
bool IsOwnFault(const siginfo_t& info) {
  return info.si_code > 0 && info.si_code < 0x10000;
}

// The allocator gives unused pages back by itself, after a while, whosever they were.
void UseOneHeap() {}
void ReturnFreeMemory() {}

}  // namespace zem
