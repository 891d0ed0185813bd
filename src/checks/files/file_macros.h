// SPDX-License-Identifier: BSD-2-Clause
// The macros of a path that stand for the newest or oldest entry of a folder: "%newestfile%",
// "%oldestfile%", "%newestfolder%" and "%oldestfolder%", in any mix of upper and lower case.
//
// Threads: any.

#ifndef ZEM_CHECKS_FILES_FILE_MACROS_H_
#define ZEM_CHECKS_FILES_FILE_MACROS_H_

#include "text/ovstring.h"

namespace zem {

// The path with every macro replaced, left to right, by the name of an entry of the folder that
// the text before it names. The folder's text and the name are joined as they are. When one macro
// finds no entry the whole path comes back unchanged. Links are never chosen; among equal times
// the first in directory order is.
OvString ResolveFileMacros(const OvString& path);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_FILE_MACROS_H_
