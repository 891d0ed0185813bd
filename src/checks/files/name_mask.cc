// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/name_mask.h"

#include <fnmatch.h>

#include <utility>

#include "text/file_info.h"

namespace zem {

NameMask::NameMask(OvString mask) : text_(std::move(mask)) {
  matches_all_ = text_ == "*";
  matches_none_ = HoldsZeroByte(text_);
}

bool NameMask::Matches(const char* name) const {
  if (matches_all_) return true;
  return !matches_none_ && fnmatch(text_.CStr(), name, 0) == 0;
}

}  // namespace zem
