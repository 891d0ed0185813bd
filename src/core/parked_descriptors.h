// SPDX-License-Identifier: BSD-2-Clause
// The descriptors of rejected connections, kept for a while before they are closed.
//
// A rejected connection is shut down at once but its descriptor closed late: closing right away
// would answer what the peer still sends with a reset. A ring bounds how many are kept, so a
// scanner cannot use them up.
// Threads: the main thread.

#ifndef ZEM_CORE_PARKED_DESCRIPTORS_H_
#define ZEM_CORE_PARKED_DESCRIPTORS_H_

#include <cstddef>
#include <vector>

#include "core/unique_fd.h"

namespace zem {

class ParkedDescriptors {
 public:
  explicit ParkedDescriptors(size_t descriptor_limit);

  // Takes a descriptor in; the oldest is closed when the ring is full.
  void Park(UniqueFd descriptor);
  // Closes all; false when there was none.
  bool CloseAll();

 private:
  std::vector<UniqueFd> ring_;
  size_t next_ = 0;
  size_t held_ = 0;
};

}  // namespace zem

#endif  // ZEM_CORE_PARKED_DESCRIPTORS_H_
