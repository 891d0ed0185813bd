// SPDX-License-Identifier: BSD-2-Clause
#include "commands/forms.h"

#include <cctype>

#include <fmt/args.h>
#include <fmt/format.h>

#include "commands/escapes.h"
#include "commands/fields.h"
#include "model/pieces.h"
#include "output/units.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

Value ReadField(const Field& field, const Answer& answer) {
  const Reply& reply = answer.reply;
  if (field.line == 0) return Value::Text(answer.arguments.Text(field.name, field.otherwise));
  switch (field.kind) {
    case FieldKind::kText:
      return Value::Text(reply.Line(field.line));
    case FieldKind::kInt:
      return Value::Int(IntLine(reply, field.line));
    case FieldKind::kFlag:
      return Value::Flag(FlagLine(reply, field.line));
    case FieldKind::kBytes:
      return Value::Bytes(NumberLine(reply, field.line));
    case FieldKind::kMillis:
      return Value::Millis(static_cast<double>(IntLine(reply, field.line)));
    case FieldKind::kMinutes:
      return Value::Minutes(IntLine(reply, field.line));
    case FieldKind::kPercent:
      return Value::Percent(NumberLine(reply, field.line));
    case FieldKind::kStamp:
      return Value::Stamp(StampLine(reply, field.line));
  }
  return Value();
}

// What stands behind the colon, or the name in capitals.
std::string ShownName(std::string_view word, std::string name) {
  const size_t colon = word.find(':');
  if (colon != std::string_view::npos) return std::string(word.substr(colon + 1));
  for (char& byte : name) byte = static_cast<char>(toupper(static_cast<unsigned char>(byte)));
  return name;
}

}  // namespace

Plan PlanFor(std::string_view form, const Arguments& arguments,
             std::initializer_list<int64_t> numbers) {
  Plan plan;
  auto number = numbers.begin();
  std::string_view word;
  (void)TakePiece(&form, " ", &word);
  RequestText request(word);
  while (TakePiece(&form, " ", &word)) {
    const std::string name(word.substr(0, word.find_first_of("?!~:=")));
    const char mark = name.size() == word.size() ? ' ' : word[name.size()];
    const std::string shown = ShownName(word, name);
    if (word == "-") {
      request.Empty();
    } else if (word == "%") {
      request.Number(*number++);
    } else if (isdigit(static_cast<unsigned char>(word.front())) != 0) {
      request.Line(word, "");
    } else if (mark == '?' || mark == '!') {
      request.Flag(arguments.Has(name) == (mark == '?'));
    } else if (mark == '~') {
      const std::string typed = arguments.Text(name);
      const std::string text = arguments.Has("escapes") ? DecodeEscapes(typed) : typed;
      WarnOfEscapes(text, shown, &plan.warnings);
      request.EscapedLine(text);
    } else {
      const std::string_view otherwise = mark == '=' ? word.substr(name.size() + 1) : "";
      request.TrimmedLine(arguments.Text(name, otherwise), shown);
    }
  }
  plan.text = request.Finish();
  return plan;
}

Value ReadFields(std::span<const Field> fields, const Answer& answer) {
  Record record;
  for (const Field& field : fields) record.emplace_back(field.name, ReadField(field, answer));
  return Value::Of(std::move(record));
}

std::string Sentence(const char* form, const Value& result) {
  fmt::dynamic_format_arg_store<fmt::format_context> words;
  for (const auto& [name, value] : *result.As<Record>()) {
    if (const auto* text = value.As<std::string>()) {
      words.push_back(fmt::arg(name.c_str(), *text));
    } else if (value.HowShown() == Form::kBytes || value.HowShown() == Form::kMinutes) {
      words.push_back(fmt::arg(name.c_str(), ReadableLeaf(value)));
    } else {
      words.push_back(fmt::arg(name.c_str(), value.AsNumber()));
    }
  }
  return fmt::vformat(form, words);
}

bool IsYes(const Value& result) {
  return *result.As<Record>()->front().second.As<bool>();
}

Verdict JudgeFlag(const Answer& answer, const Value& result, const Thresholds& /*thresholds*/) {
  return {IsYes(result) != answer.arguments.Has("invert") ? State::kOk : State::kCritical, "", {}};
}

Metric MetricOf(const char* label, const Value& value, const Thresholds& thresholds) {
  const double number = value.AsNumber();
  switch (value.HowShown()) {
    case Form::kBytes:
      return {label, number, "B", thresholds, 0, {}};
    case Form::kMilliseconds:
      return {label, number / 1000, "s", thresholds, 0, {}};
    case Form::kMinutes:
      return {label, number * 60, "s", thresholds, 0, {}};
    case Form::kPercent:
      return {label, number, "%", thresholds, 0, {}};
    default:
      return {label, number, "", thresholds, 0, {}};
  }
}

Value ParseMessage(const Answer& answer) {
  Record record{{"message", Value::Text(answer.reply.Line(1))}};
  if (!answer.exchange.note.empty()) record.emplace_back("note", Value::Text(answer.exchange.note));
  return Value::Of(std::move(record));
}

std::string SummariseMessage(const Answer& answer, const Value& /*result*/) {
  return answer.exchange.note.empty() ? answer.reply.Message() : answer.exchange.note;
}

}  // namespace zem::client
