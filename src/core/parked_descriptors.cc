// SPDX-License-Identifier: BSD-2-Clause
#include "core/parked_descriptors.h"

#include <algorithm>
#include <utility>

namespace zem {

namespace {

constexpr size_t kLargestRing = 256;
constexpr size_t kShareOfLimit = 8;

}  // namespace

ParkedDescriptors::ParkedDescriptors(size_t descriptor_limit)
    : ring_(std::clamp<size_t>(descriptor_limit / kShareOfLimit, 1, kLargestRing)) {}

void ParkedDescriptors::Park(UniqueFd descriptor) {
  if (!ring_[next_].IsOpen()) ++held_;
  ring_[next_] = std::move(descriptor);
  next_ = (next_ + 1) % ring_.size();
}

bool ParkedDescriptors::CloseAll() {
  if (held_ == 0) return false;
  for (UniqueFd& descriptor : ring_) descriptor.Reset();
  held_ = 0;
  return true;
}

}  // namespace zem
