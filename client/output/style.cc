// SPDX-License-Identifier: BSD-2-Clause
#include "output/style.h"

#include <cstdlib>

#include <fmt/color.h>

#include "output/terminal.h"

namespace zem::client {

Style Style::For(int descriptor) {
  const char* unwanted = getenv("NO_COLOR");
  return Style((unwanted == nullptr || *unwanted == '\0') && Terminal::Of(descriptor));
}

std::string Style::operator()(Tone tone, std::string_view text) const {
  // In the order of the tones.
  static const fmt::text_style kStyles[] = {{},
                                            fmt::emphasis::bold,
                                            fmt::emphasis::faint,
                                            fmt::fg(fmt::terminal_color::green),
                                            fmt::fg(fmt::terminal_color::yellow),
                                            fmt::fg(fmt::terminal_color::red)};
  return coloured_ ? fmt::format(kStyles[static_cast<size_t>(tone)], "{}", text)
                   : std::string(text);
}

}  // namespace zem::client
