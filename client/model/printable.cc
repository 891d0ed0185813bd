// SPDX-License-Identifier: BSD-2-Clause
#include "model/printable.h"

#include <cstdint>

#include <fmt/format.h>

namespace zem::client {

namespace {

constexpr uint32_t kInvalid = 0xFFFFFFFF;

// The character at the front of `text` and its length in bytes; one byte for an invalid one.
uint32_t Decode(std::string_view text, size_t* length) {
  const auto byte = [text](size_t i) { return static_cast<uint8_t>(text[i]); };
  *length = 1;
  const uint8_t first = byte(0);
  if (first < 0x80) return first;
  const size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < size) return kInvalid;
  uint32_t code = first & (0x7Fu >> size);
  for (size_t i = 1; i < size; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return kInvalid;
    code = code << 6 | (byte(i) & 0x3Fu);
  }
  static constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kSmallest[size] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
    return kInvalid;
  }
  *length = size;
  return code;
}

// Control characters of both tables, and the marks that reorder or hide text.
bool IsControl(uint32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x061C ||
         (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF ||
         (code >= 0xE0000 && code <= 0xE007F);
}

void AppendVisible(std::string_view bytes, std::string* out) {
  constexpr std::string_view kKnown = "\n\r\t";
  for (const char byte : bytes) {
    const size_t known = kKnown.find(byte);
    if (known != std::string_view::npos) {
      out->append(1, '\\').append(1, "nrt"[known]);
    } else {
      fmt::format_to(std::back_inserter(*out), "\\x{:02x}", static_cast<uint8_t>(byte));
    }
  }
}

// As JSON writes it: sixteen bits at a time.
void AppendJsonEscape(uint32_t code, std::string* out) {
  const auto append = [out](uint32_t unit) {
    fmt::format_to(std::back_inserter(*out), "\\u{:04x}", unit);
  };
  if (code < 0x10000) return append(code);
  append(0xD800 + ((code - 0x10000) >> 10));
  append(0xDC00 + (code & 0x3FF));
}

enum class Into { kLine, kLines, kJson };

std::string Clean(std::string_view text, Into into) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    size_t length = 1;
    const uint32_t code = Decode(text, &length);
    const std::string_view bytes = text.substr(0, length);
    if (into != Into::kLine && code == '\n') {
      out.push_back('\n');
    } else if (into == Into::kJson && code != kInvalid && IsControl(code)) {
      AppendJsonEscape(code, &out);
    } else if (code == kInvalid || IsControl(code)) {
      AppendVisible(bytes, &out);
    } else {
      out.append(bytes);
    }
    text.remove_prefix(length);
  }
  return out;
}

}  // namespace

std::string Printable(std::string_view text) {
  return Clean(text, Into::kLine);
}

std::string PrintableLines(std::string_view text) {
  return Clean(text, Into::kLines);
}

std::string PrintableJson(std::string_view json) {
  return Clean(json, Into::kJson);
}

size_t Columns(std::string_view text) {
  size_t columns = 0;
  for (const char byte : text) columns += (static_cast<uint8_t>(byte) & 0xC0) != 0x80;
  return columns;
}

}  // namespace zem::client
