// SPDX-License-Identifier: BSD-2-Clause
// Reads a file of this machine that is to be sent, or a text as if it were a file.

#ifndef ZEM_CLIENT_MODEL_LOCAL_FILE_H_
#define ZEM_CLIENT_MODEL_LOCAL_FILE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "core/unique_fd.h"

namespace zem::client {

// The whole file, "-" = standard input. std::invalid_argument when it cannot be read or is larger.
std::string ReadLocalFile(const std::string& path, int64_t most);

// A text of this process as a file that can be read, without a copy in a buffer; null when empty.
FilePtr OpenText(std::string_view text);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_LOCAL_FILE_H_
