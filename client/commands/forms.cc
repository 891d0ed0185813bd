// SPDX-License-Identifier: BSD-2-Clause
#include "commands/forms.h"

#include <algorithm>
#include <cctype>

#include <fmt/args.h>
#include <fmt/format.h>

#include "commands/typed_text.h"
#include "model/printable.h"
#include "model/words.h"
#include "output/units.h"
#include "protocol/escape.h"
#include "text/ovstring.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

constexpr size_t kShownBytes = 40;

[[noreturn]] void Refuse(const Reply& reply, size_t number, const char* wanted) {
  if (number > reply.lines.size()) {
    throw BadReply(fmt::format("the reply ends before line {} ({})", number, wanted));
  }
  throw BadReply(fmt::format("line {} of the reply is not {}: \"{}\"", number, wanted,
                             Printable(reply.Line(number).substr(0, kShownBytes))));
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

std::optional<std::string> ParseStamp(std::string_view text) {
  const auto is_digit = [](char byte) { return byte >= '0' && byte <= '9'; };
  if (text.size() != 14 || !std::all_of(text.begin(), text.end(), is_digit)) return std::nullopt;
  return fmt::format("{}-{}-{}T{}:{}:{}", text.substr(4, 4), text.substr(2, 2), text.substr(0, 2),
                     text.substr(8, 2), text.substr(10, 2), text.substr(12, 2));
}

int64_t IntLine(const Reply& reply, size_t number) {
  const std::optional<int64_t> value = ParseWhole(reply.Line(number));
  if (!value) Refuse(reply, number, "a whole number");
  return *value;
}

double NumberLine(const Reply& reply, size_t number) {
  double value = 0;
  if (!ParseDecimal(Trimmed(reply.Line(number)), &value)) Refuse(reply, number, "a number");
  return value;
}

std::string UnescapedLine(const Reply& reply, size_t number) {
  if (number > reply.lines.size()) Refuse(reply, number, "a text");
  return std::string(UnescapeLineBreaks(reply.Line(number)).View());
}

Value TextOf(const Reply& reply, size_t number) {
  return reply.Line(number);
}

Value CountOf(const Reply& reply, size_t number) {
  return IntLine(reply, number);
}

Value FlagOf(const Reply& reply, size_t number) {
  const std::string_view line = reply.Line(number);
  if (line != "0" && line != "1") Refuse(reply, number, "\"0\" or \"1\"");
  return line == "1";
}

Value MillisOf(const Reply& reply, size_t number) {
  return Value::Millis(static_cast<double>(IntLine(reply, number)));
}

Value StampOf(const Reply& reply, size_t number) {
  const std::optional<std::string> stamp = ParseStamp(reply.Line(number));
  if (!stamp) Refuse(reply, number, "a time stamp");
  return Value::Stamp(*stamp);
}

Value ReadFields(std::span<const Field> fields, const Answer& answer) {
  Record record;
  for (const Field& field : fields) {
    record.emplace_back(field.name, field.line > 0
                                        ? field.read(answer.reply, field.line)
                                        : answer.arguments.Text(field.name, field.otherwise));
  }
  return record;
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
  using Figure = std::pair<double, const char*>;
  const Form form = value.HowShown();
  const auto [figure, unit] = form == Form::kBytes          ? Figure(number, "B")
                              : form == Form::kMilliseconds ? Figure(number / 1000, "s")
                              : form == Form::kMinutes      ? Figure(number * 60, "s")
                              : form == Form::kPercent      ? Figure(number, "%")
                                                            : Figure(number, "");
  return {label, figure, unit, thresholds, 0, {}};
}

Value ParseMessage(const Answer& answer) {
  Record record{{"message", answer.reply.Line(1)}};
  if (!answer.exchange.note.empty()) record.emplace_back("note", answer.exchange.note);
  return record;
}

std::string SummariseMessage(const Answer& answer, const Value& /*result*/) {
  return answer.exchange.note.empty() ? answer.reply.Message() : answer.exchange.note;
}

}  // namespace zem::client
