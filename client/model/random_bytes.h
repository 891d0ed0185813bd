// SPDX-License-Identifier: BSD-2-Clause
// Bytes from the system's random source, the same way on both systems.
//
// Errors:  a system without random bytes cannot make a key: std::runtime_error.
// Threads: any.

#ifndef ZEM_CLIENT_MODEL_RANDOM_BYTES_H_
#define ZEM_CLIENT_MODEL_RANDOM_BYTES_H_

#include <cstddef>

#include "model/secret.h"

namespace zem::client {

Secret RandomBytes(size_t count);

// `count` characters, each drawn evenly from letters and digits (no sign that a shell, the
// configuration file or a person reading it aloud could take amiss).
Secret RandomPassword(size_t count);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_RANDOM_BYTES_H_
