// SPDX-License-Identifier: BSD-2-Clause
#include "output/style.h"

#include <unistd.h>

#include <cstdlib>

namespace zem::client {

Style Style::For(int descriptor) {
  const char* unwanted = getenv("NO_COLOR");
  const char* terminal = getenv("TERM");
  const bool able = terminal != nullptr && std::string_view(terminal) != "dumb";
  return Style(able && (unwanted == nullptr || *unwanted == '\0') && isatty(descriptor) == 1);
}

std::string Style::operator()(Tone tone, std::string_view text) const {
  if (!coloured_ || tone == Tone::kPlain) return std::string(text);
  const char* start = "";
  switch (tone) {
    case Tone::kBold:
      start = "\033[1m";
      break;
    case Tone::kFaint:
      start = "\033[2m";
      break;
    case Tone::kGood:
      start = "\033[32m";
      break;
    case Tone::kWarning:
      start = "\033[33m";
      break;
    case Tone::kBad:
      start = "\033[31m";
      break;
    case Tone::kPlain:
      break;
  }
  return std::string(start).append(text).append("\033[0m");
}

}  // namespace zem::client
