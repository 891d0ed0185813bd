// SPDX-License-Identifier: BSD-2-Clause
#include "output/terminal.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include <fmt/color.h>

namespace zem::client {

namespace {

// What the environment says comes before what the terminal does, which may not know.
size_t Figure(const char* variable, unsigned short told, size_t usual) {
  const char* text = getenv(variable);
  const int wanted = text == nullptr ? 0 : atoi(text);
  return wanted > 0 ? static_cast<size_t>(wanted) : told > 0 ? told : usual;
}

}  // namespace

std::optional<Terminal> Terminal::Of(int descriptor) {
  const char* kind = getenv("TERM");
  if (kind == nullptr || std::string_view(kind) == "dumb" || isatty(descriptor) != 1) {
    return std::nullopt;
  }
  winsize size = {};
  (void)ioctl(descriptor, TIOCGWINSZ, &size);  // without an answer it stays empty
  return Terminal{Figure("COLUMNS", size.ws_col, 80), Figure("LINES", size.ws_row, 24)};
}

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
