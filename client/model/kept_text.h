// SPDX-License-Identifier: BSD-2-Clause
// A short text that is kept from one run to the next, such as how far a log has been read.
//
// Shapes:  a file of the folder, named by a digest of the key; the key stands in its first line.
// Errors:  std::runtime_error, naming the file.
// Threads: any.

#ifndef ZEM_CLIENT_MODEL_KEPT_TEXT_H_
#define ZEM_CLIENT_MODEL_KEPT_TEXT_H_

#include <chrono>
#include <string>

#include "core/unique_fd.h"

namespace zem::client {

// The folder for this user: a "zem" in $XDG_STATE_HOME or ~/.local/state; empty without a home.
std::string KeptFolder();

// Empty when there is none. While `hold` is open no other run reads it: one waits for so long, and
// is then refused.
std::string ReadKept(const std::string& folder, const std::string& key,
                     std::chrono::milliseconds patience, UniqueFd* hold);
// Whole or not at all: a crash leaves the former text. Makes the folder, for this user alone.
void WriteKept(const std::string& folder, const std::string& key, const std::string& text);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_KEPT_TEXT_H_
