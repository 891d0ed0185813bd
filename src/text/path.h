// SPDX-License-Identifier: BSD-2-Clause
// Cuts and joins paths as text; "/" is the only delimiter and no file is looked at.
//
// Threads: any; pure functions.

#ifndef ZEM_TEXT_PATH_H_
#define ZEM_TEXT_PATH_H_

#include <cstddef>
#include <string_view>

#include "text/ovstring.h"

namespace zem {

// Position (from 1) of the last byte of `text` that occurs in `delimiters`, or 0.
size_t LastDelimiter(std::string_view delimiters, std::string_view text);
// The directory part with its "/"; empty when the path has no "/".
OvString ExtractFilePath(std::string_view path);
// What follows the last "/", at most 4,095 bytes; the whole path when it has no "/".
OvString ExtractFileName(std::string_view path);
// The path with one "/" appended unless it ends in one; an empty path becomes "/".
OvString IncludeTrailingPathDelimiter(std::string_view path);
// The path without its last byte when that is "/".
OvString ExcludeTrailingPathDelimiter(std::string_view path);

}  // namespace zem

#endif  // ZEM_TEXT_PATH_H_
