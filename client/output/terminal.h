// SPDX-License-Identifier: BSD-2-Clause
// The terminal behind a descriptor: how much it shows at a time.

#ifndef ZEM_CLIENT_OUTPUT_TERMINAL_H_
#define ZEM_CLIENT_OUTPUT_TERMINAL_H_

#include <cstddef>
#include <optional>

namespace zem::client {

struct Terminal {
  size_t columns;
  size_t lines;

  // Nothing where there is none, or one that knows no commands.
  static std::optional<Terminal> Of(int descriptor);
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_OUTPUT_TERMINAL_H_
