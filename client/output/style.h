// SPDX-License-Identifier: BSD-2-Clause
// Colours, where a person looks at a terminal that can show them; nothing anywhere else.

#ifndef ZEM_CLIENT_OUTPUT_STYLE_H_
#define ZEM_CLIENT_OUTPUT_STYLE_H_

#include <string>
#include <string_view>

namespace zem::client {

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

#endif  // ZEM_CLIENT_OUTPUT_STYLE_H_
