// SPDX-License-Identifier: BSD-2-Clause
// What most subcommands are made of: a request whose lines are arguments, a reply whose lines are
// fields, a sentence about the fields, a figure to judge. A row of the command table names each as
// a function: .build = Request<"TEST-FolderSize path recursive? macros?">.
//
// Errors:  std::invalid_argument for what a person typed, BadReply for what an agent answered.
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_COMMANDS_FORMS_H_
#define ZEM_CLIENT_COMMANDS_FORMS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "commands/command.h"

namespace zem::client {

// A text that may stand between angle brackets.
template <size_t kBytes>
struct Literal {
  constexpr Literal(const char (&literal)[kBytes]) { std::copy_n(literal, kBytes, text); }
  char text[kBytes] = {};
};

// The command word and then a word for each line: "path" is the argument of that name, called PATH
// in a refusal, "first:A" one called A, "mask=*" one with a default; "send~:TEXT" may hold line
// breaks, and --escapes may stand for them; "macros?" is 1 where the flag was given and "files!"
// where it was not; "-" is an empty line, a number itself, and "%" the next of `numbers`.
Plan PlanFor(std::string_view form, const Arguments& arguments,
             std::initializer_list<int64_t> numbers = {});

template <Literal kForm>
Plan Request(const Arguments& arguments) {
  return PlanFor(kForm.text, arguments);
}

// The lines of a reply as numbers, flags and texts. A refusal names the line: a peer's text is
// never trusted to be what it should.
int64_t IntLine(const Reply& reply, size_t number);
// A number that may be blank-padded and may have a fraction.
double NumberLine(const Reply& reply, size_t number);
// The line with its line breaks put back.
std::string UnescapedLine(const Reply& reply, size_t number);
// DDMMYYYYhhmmss as ISO 8601 without a zone.
std::optional<std::string> ParseStamp(std::string_view text);

// The same as values.
using LineReader = Value (*)(const Reply& reply, size_t number);
Value TextOf(const Reply& reply, size_t number);
Value CountOf(const Reply& reply, size_t number);
Value FlagOf(const Reply& reply, size_t number);
Value MillisOf(const Reply& reply, size_t number);
Value StampOf(const Reply& reply, size_t number);
template <auto kForm, auto kLine>
Value FormOf(const Reply& reply, size_t number) {
  return kForm(kLine(reply, number));
}
inline constexpr LineReader BytesOf = FormOf<Value::Bytes, NumberLine>;
inline constexpr LineReader MinutesOf = FormOf<Value::Minutes, IntLine>;
inline constexpr LineReader PercentOf = FormOf<Value::Percent, NumberLine>;

struct Field {
  const char* name;
  size_t line = 0;  // of the reply; 0 = the argument of the field's name
  LineReader read = TextOf;
  const char* otherwise = "";  // where that argument was not given
};

Value ReadFields(std::span<const Field> fields, const Answer& answer);

template <const auto& kFields>
Value Fields(const Answer& answer) {
  return ReadFields(kFields, answer);
}

// "{path} holds {size_bytes}": fields by their names, sizes and ages as people read them. Other
// numbers take a format: "{count:.0f}".
std::string Sentence(const char* form, const Value& result);

template <Literal kForm>
std::string Says(const Answer& /*answer*/, const Value& result) {
  return Sentence(kForm.text, result);
}

// Of a result that is one flag.
bool IsYes(const Value& result);
template <Literal kYes, Literal kNo>
std::string SaysWhether(const Answer& /*answer*/, const Value& result) {
  return IsYes(result) ? kYes.text : kNo.text;
}
// Fine when it is so, or with --invert when it is not.
Verdict JudgeFlag(const Answer& answer, const Value& result, const Thresholds& thresholds);

// A figure in the unit that plugins know: bytes, seconds, percent, or none. It begins at 0.
Metric MetricOf(const char* label, const Value& value, const Thresholds& thresholds);

template <Literal kLabel, Literal kField, int kMost = 0>  // 0 = without an end
Verdict Judge(const Answer& /*answer*/, const Value& result, const Thresholds& thresholds) {
  Metric metric = MetricOf(kLabel.text, result[kField.text], thresholds);
  if (kMost != 0) metric.most = kMost;
  return {thresholds.Judge(metric.value), "", {metric}};
}

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_FORMS_H_
