// SPDX-License-Identifier: BSD-2-Clause
#include "model/local_file.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include <fmt/format.h>

#include "text/system_error.h"

namespace zem::client {

std::string ReadLocalFile(const std::string& path, int64_t most) {
  const bool standard_input = path == "-";
  const FilePtr opened = standard_input ? nullptr : OpenForReading(path.c_str());
  FILE* file = standard_input ? stdin : opened.get();
  const auto fail = [&path] {
    throw std::invalid_argument(
        fmt::format("cannot read {}: {}", path, SystemErrorText(errno).CStr()));
  };
  if (file == nullptr) fail();
  std::string text;
  char buffer[16384];
  size_t got = 0;
  while ((got = fread(buffer, 1, sizeof(buffer), file)) > 0) {
    text.append(buffer, got);
    if (static_cast<int64_t>(text.size()) > most) {
      throw std::invalid_argument(fmt::format("{} is larger than {} bytes", path, most));
    }
  }
  if (ferror(file) != 0) fail();
  return text;
}

FilePtr OpenText(std::string_view text) {
  // "b": else a zero byte would end the text on some systems.
  FilePtr file(fmemopen(const_cast<char*>(text.data()), text.size(), "rb"));
  if (file) setvbuf(file.get(), nullptr, _IONBF, 0);
  return file;
}

}  // namespace zem::client
