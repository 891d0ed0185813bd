// SPDX-License-Identifier: BSD-2-Clause
#include "text/ovstring_list.h"

#include <cstring>

#include "text/check.h"

namespace zem {

void OvStringList::Add(std::string_view text) {
  starts_.push_back(bytes_.Length());
  bytes_.Append(text).Append('\0');
}

void OvStringList::Delete(size_t index) {
  ZEM_CHECK(index < Count(), "ovstring");
  const size_t start = starts_[index];
  const size_t end = EndOf(index);
  const size_t gone = end - start;
  char* bytes = bytes_.Resize(bytes_.Length());
  memmove(bytes + start, bytes + end, bytes_.Length() - end);
  bytes_.Truncate(bytes_.Length() - gone);
  starts_.erase(starts_.begin() + static_cast<ptrdiff_t>(index));
  for (size_t i = index; i < starts_.size(); ++i) starts_[i] -= gone;
}

std::string_view OvStringList::operator[](size_t index) const {
  ZEM_CHECK(index < Count(), "ovstring");
  return bytes_.View().substr(starts_[index], EndOf(index) - starts_[index] - 1);
}

void OvStringList::Clear() {
  bytes_.Clear();
  starts_.clear();
}

size_t OvStringList::EndOf(size_t index) const {
  return index + 1 < starts_.size() ? starts_[index + 1] : bytes_.Length();
}

}  // namespace zem
