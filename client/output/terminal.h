// SPDX-License-Identifier: BSD-2-Clause
// The terminal behind a descriptor: how much it shows at a time, and in which colours.

#ifndef ZEM_CLIENT_OUTPUT_TERMINAL_H_
#define ZEM_CLIENT_OUTPUT_TERMINAL_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zem::client {

struct Terminal {
  size_t columns;
  size_t lines;

  // Nothing where there is none, or one that knows no commands.
  static std::optional<Terminal> Of(int descriptor);
};

// Colours, where a person looks at a terminal that can show them; nothing anywhere else.
enum class Tone { kPlain, kBold, kFaint, kGood, kWarning, kBad };

class Style {
 public:
  explicit Style(bool coloured) : coloured_(coloured) {}
  // For a descriptor: coloured when it is a terminal other than a dumb one and NO_COLOR is not
  // set.
  static Style For(int descriptor);

  std::string operator()(Tone tone, std::string_view text) const;

 private:
  bool coloured_;
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_OUTPUT_TERMINAL_H_
