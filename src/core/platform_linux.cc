// SPDX-License-Identifier: BSD-2-Clause
#include "core/platform.h"

#include <malloc.h>
#include <sys/vfs.h>

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
    case ENONET:
      return true;
    default:
      return false;
  }
}

// The kernel numbers its own reasons above 0, those of senders from 0 down.
bool IsOwnFault(const siginfo_t& info) {
  return info.si_code > 0;
}

void UseOneHeap() {
#ifdef __GLIBC__
  mallopt(M_ARENA_MAX, 1);
  // Large blocks, which grow step by step, have their own pages and are no hindrance to others. The
  // value is the one that glibc starts with; set, it stays.
  mallopt(M_MMAP_THRESHOLD, 128 * 1024);
#endif
}

void ReturnFreeMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

}  // namespace zem
