// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/agent_reply.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "protocol/date_time.h"
#include "protocol/escape.h"
#include "protocol/packet.h"

namespace zem {

namespace {

constexpr size_t kFormatBuffer = 2048;
constexpr size_t kNumberBuffer = 35;
// All but lists and the output of scripts fit.
constexpr size_t kUsualReply = 1023;

// What snprintf would have liked to write, cut to what the buffer took.
std::string_view Formatted(const char* buffer, size_t capacity, int length) {
  if (length < 0) return {};
  const auto wanted = static_cast<size_t>(length);
  return {buffer, wanted < capacity ? wanted : capacity - 1};
}

}  // namespace

void AgentReply::StartReply(std::string_view status, SessionKeyPtr key) {
  text_.Clear();
  text_.Reserve(kUsualReply);
  if (!status.empty()) SetStatus(status);
  key_ = std::move(key);
}

AgentReply& AgentReply::SetStatus(std::string_view status) {
  text_ = status;
  text_.Append('\n');
  return *this;
}

AgentReply& AgentReply::Append(std::string_view text, Escape escape) {
  if (escape == Escape::kYes) {
    AppendEscaped(text, &text_);
  } else {
    text_.Append(text);
  }
  return *this;
}

void AgentReply::EnsureNewLine() {
  if (!text_.IsEmpty() && text_.View().back() != '\n') text_.Append('\n');
}

void AgentReply::AddLine(std::string_view text, Escape escape) {
  EnsureNewLine();
  Append(text, escape);
  text_.Append('\n');
}

void AgentReply::AddInt(int number) {
  EnsureNewLine();
  text_.AppendInt(number).Append('\n');
}

void AgentReply::AddNumber(double number) {
  char buffer[kNumberBuffer];
  AddLine(Formatted(buffer, sizeof(buffer), snprintf(buffer, sizeof(buffer), "%6.0f", number)));
}

void AgentReply::AddFraction(double number) {
  char buffer[kNumberBuffer];
  AddLine(Formatted(buffer, sizeof(buffer), snprintf(buffer, sizeof(buffer), "%6.4f", number)));
}

void AgentReply::AddTime(time_t moment) {
  AddTimestamp(LocalTime(moment));
}

void AgentReply::AddTimestamp(const struct tm& fields) {
  AddLine(FormatTimestamp(fields));
}

void AgentReply::AddFormat(const char* format, ...) {
  char buffer[kFormatBuffer];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(buffer, sizeof(buffer), format, arguments);
  va_end(arguments);
  if (length < 0 || static_cast<size_t>(length) > sizeof(buffer)) return;
  AddLine(Formatted(buffer, sizeof(buffer), length));
}

OvString AgentReply::SealReply() {
  EnsureNewLine();
  text_.Append('\r');
  return BuildPacket(text_, key_->Schedule(), kReplyHeaderBytes);
}

}  // namespace zem
