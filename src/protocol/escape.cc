// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/escape.h"

namespace zem {

void AppendEscaped(std::string_view text, OvString* out) {
  while (!text.empty()) {
    const size_t plain = text.find_first_of("\r\n");
    out->Append(text.substr(0, plain));
    if (plain == std::string_view::npos) break;
    out->Append(text[plain] == '\n' ? "%0A" : "%0D");
    text.remove_prefix(plain + 1);
  }
}

OvString EscapeLineBreaks(std::string_view text) {
  OvString result;
  AppendEscaped(text, &result);
  return result;
}

OvString UnescapeLineBreaks(std::string_view text) {
  OvString result;
  while (!text.empty()) {
    const size_t plain = text.find('%');
    result.Append(text.substr(0, plain));
    if (plain == std::string_view::npos) break;
    text.remove_prefix(plain);
    const std::string_view code = text.substr(0, 3);
    const bool escaped = code == "%0A" || code == "%0D";
    result.Append(!escaped ? '%' : code == "%0A" ? '\n' : '\r');
    text.remove_prefix(escaped ? code.size() : 1);
  }
  return result;
}

}  // namespace zem
