// SPDX-License-Identifier: BSD-2-Clause
// Reads a file of this machine that is to be sent.

#ifndef ZEM_CLIENT_MODEL_LOCAL_FILE_H_
#define ZEM_CLIENT_MODEL_LOCAL_FILE_H_

#include <cstdint>
#include <string>

namespace zem::client {

// The whole file, "-" = standard input. std::invalid_argument when it cannot be read or is larger.
std::string ReadLocalFile(const std::string& path, int64_t most);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_LOCAL_FILE_H_
