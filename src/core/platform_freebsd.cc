// SPDX-License-Identifier: BSD-2-Clause
#include "core/platform.h"

#include <malloc_np.h>
#include <sys/param.h>

#include <sys/mount.h>

#include <cerrno>

// The C library's allocator reads this before main. One heap, and nothing that ended threads have
// kept; what is free is unmapped, a second later or, if it was large, at once: the system would
// only mark the pages, and they would count as the agent's until memory is short.
extern const char* malloc_conf;
const char* malloc_conf =
    "narenas:1,tcache:false,retain:false,dirty_decay_ms:1000,muzzy_decay_ms:0,"
    "oversize_threshold:131072";

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

void UseOneHeap() {}  // malloc_conf has said so

// The allocator looks at the clock only while it is asked for something.
void ReturnFreeMemory() {
  (void)mallctl("arena.4096.purge", nullptr, nullptr, nullptr, 0);  // 4096: of every heap
}

}  // namespace zem
