// SPDX-License-Identifier: BSD-2-Clause
// A list of texts kept in one buffer, so that a million short names cost little more than their
// bytes.
//
// Shapes:  indexes count from 0. Every text is followed by a zero byte, so data() of a returned
//          view is a C string. A view lives until the list changes.
// Errors:  an index outside the list is a mistake of ours and ends the process (source
//          "ovstring").
// Threads: as any value: one writer or many readers.

#ifndef ZEM_TEXT_OVSTRING_LIST_H_
#define ZEM_TEXT_OVSTRING_LIST_H_

#include <cstddef>
#include <string_view>
#include <vector>

#include "text/ovstring.h"

namespace zem {

class OvStringList {
 public:
  size_t Count() const { return starts_.size(); }
  bool IsEmpty() const { return starts_.empty(); }
  void Add(std::string_view text);
  // Removes one text; the ones behind it move up. The last one is removed without any copy.
  void Delete(size_t index);
  std::string_view operator[](size_t index) const;
  void Clear();

 private:
  size_t EndOf(size_t index) const;

  OvString bytes_;
  std::vector<size_t> starts_;
};

}  // namespace zem

#endif  // ZEM_TEXT_OVSTRING_LIST_H_
