// SPDX-License-Identifier: BSD-2-Clause
// Reads small files that hold secrets, and leaves no copy behind.
//
// Errors:  std::runtime_error, with a text for the person who named the file.

#ifndef ZEM_CLIENT_MODEL_SECRET_FILE_H_
#define ZEM_CLIENT_MODEL_SECRET_FILE_H_

#include <string>

#include "model/secret.h"

namespace zem::client {

enum class Privacy {
  // Refuse a file of somebody else, or that group or others may read or write. The superuser's may
  // be, and be open to a group's reading.
  kOwnerOnly,
  kAnyMode,  // whoever made the file answers for its mode
};

// The whole file; "-" is standard input.
Secret ReadSecretFile(const std::string& path, Privacy privacy);
// Its first line, without the line end.
Secret ReadPasswordFile(const std::string& path, Privacy privacy);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_SECRET_FILE_H_
