// SPDX-License-Identifier: BSD-2-Clause
#include "text/path.h"

namespace zem {

namespace {

constexpr size_t kLongestFileName = 4095;

}  // namespace

size_t LastDelimiter(std::string_view delimiters, std::string_view text) {
  const size_t found = text.find_last_of(delimiters);
  return found == std::string_view::npos ? 0 : found + 1;
}

OvString ExtractFilePath(std::string_view path) {
  return path.substr(0, LastDelimiter("/", path));
}

OvString ExtractFileName(std::string_view path) {
  return path.substr(LastDelimiter("/", path), kLongestFileName);
}

OvString IncludeTrailingPathDelimiter(std::string_view path) {
  OvString result(path);
  if (path.empty() || path.back() != '/') result.Append('/');
  return result;
}

OvString ExcludeTrailingPathDelimiter(std::string_view path) {
  if (!path.empty() && path.back() == '/') path.remove_suffix(1);
  return path;
}

}  // namespace zem
