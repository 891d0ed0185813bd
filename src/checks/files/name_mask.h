// SPDX-License-Identifier: BSD-2-Clause
// A shell wildcard that names of directory entries are held against.
//
// Shapes:  "*", "?" and "[...]" as the shell knows them; "*" and "?" also match a leading dot. A
//          mask without wildcards matches exactly one name; one that holds a zero byte matches
//          none.
// Threads: constant once made; any.

#ifndef ZEM_CHECKS_FILES_NAME_MASK_H_
#define ZEM_CHECKS_FILES_NAME_MASK_H_

#include "text/ovstring.h"

namespace zem {

class NameMask {
 public:
  NameMask() = default;
  explicit NameMask(OvString mask);

  const OvString& Text() const { return text_; }
  bool Matches(const char* name) const;

 private:
  OvString text_;
  bool matches_all_ = false;
  bool matches_none_ = false;
};

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_NAME_MASK_H_
