// SPDX-License-Identifier: BSD-2-Clause
#include "wire/request_text.h"

#include <string.h>
#include <strings.h>

#include <stdexcept>
#include <utility>

#include "protocol/escape.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

[[noreturn]] void Refuse(std::string_view what, std::string_view why) {
  throw std::invalid_argument(std::string(what).append(" ").append(why));
}

void RefuseLineBreak(std::string_view value, std::string_view what) {
  if (value.find_first_of("\r\n") != std::string_view::npos) {
    Refuse(what, "holds a line break, which this request cannot carry");
  }
}

}  // namespace

RequestText::RequestText(std::string_view command) {
  Line(command, "the command");
}

RequestText::~RequestText() {
  explicit_bzero(text_.data(), text_.size());
}

RequestText& RequestText::Line(std::string_view value, std::string_view what) {
  RefuseLineBreak(value, what);
  text_.append(value).push_back('\n');
  return *this;
}

RequestText& RequestText::Setting(std::string_view name, std::string_view value) {
  RefuseLineBreak(value, name);
  std::string longer = WithRoom(name.size() + value.size() + 2);
  longer.append(name).append(1, '=').append(value).push_back('\n');
  explicit_bzero(text_.data(), text_.size());
  text_ = std::move(longer);
  return *this;
}

RequestText& RequestText::TrimmedLine(std::string_view value, std::string_view what) {
  if (Trimmed(value).size() != value.size()) {
    Refuse(what, "begins or ends with a blank, which the agent would drop");
  }
  return Line(value, what);
}

RequestText& RequestText::EscapedLine(std::string_view value) {
  text_.append(EscapeLineBreaks(value).View()).push_back('\n');
  return *this;
}

RequestText& RequestText::Number(long long value) {
  text_.append(std::to_string(value)).push_back('\n');
  return *this;
}

RequestText& RequestText::Empty(int count) {
  text_.append(static_cast<size_t>(count), '\n');
  return *this;
}

std::string RequestText::Finish() const {
  std::string whole = WithRoom(1);
  whole.push_back('\r');
  return whole;
}

std::string RequestText::WithRoom(size_t more) const {
  std::string copy;
  copy.reserve(text_.size() + more);
  copy.append(text_);
  return copy;
}

bool LosesInEscaping(std::string_view text) {
  return text.find("%0A") != std::string_view::npos || text.find("%0D") != std::string_view::npos;
}

}  // namespace zem::client
