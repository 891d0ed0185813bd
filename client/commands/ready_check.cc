// SPDX-License-Identifier: BSD-2-Clause
#include "commands/ready_check.h"

#include <dirent.h>

#include <algorithm>

#include <fmt/format.h>

#include "commands/command.h"
#include "core/unique_fd.h"
#include "model/local_file.h"
#include "model/words.h"
#include "output/units.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr int64_t kLargestCheck = 1024 * 1024;
constexpr const char* kLibrary = "lib.sh";

RangeParser RangeOf(std::string_view unit) {
  return unit == "B"   ? BytesRange
         : unit == "%" ? PercentRange
         : unit == "s" ? SecondsRange
                       : PlainRange;
}

std::string Word(std::string_view* line) {
  std::string_view word;
  (void)TakePiece(line, " ", &word);
  return std::string(word);
}

// "-" is no number.
Value Bound(const std::string& word) {
  double number = 0;
  return ParseDecimal(word, &number) ? number : Value();
}

Value ReadFigure(std::string_view line, bool judged) {
  const std::string whole(line);
  const std::string value = Word(&line);
  const std::string unit = Word(&line);
  double number = 0;
  if (!ParseDecimal(value, &number)) throw BadReply("the check printed no number: " + whole);
  Record figure = {{"label", Value()},
                   {"value", number},
                   {"unit", unit == "-" ? "" : unit},
                   {"least", Bound(Word(&line))},
                   {"most", Bound(Word(&line))},
                   {"judged", judged}};
  figure.front().second = line;
  return figure;
}

std::optional<double> NumberOf(const Value& value) {
  return value.IsNull() ? std::nullopt : std::optional<double>(value.AsNumber());
}

std::string Readable(const Metric& metric) {
  const std::string number =
      metric.unit == "B" ? ReadableBytes(metric.value) : PlainNumber(metric.value) + metric.unit;
  return metric.label + ' ' + number;
}

// The figures that alert, where the reader could not tell otherwise which of several it is.
std::string Alerting(const std::vector<Metric>& alerting) {
  constexpr size_t kMost = 5;
  std::string text;
  for (size_t i = 0; i < std::min(alerting.size(), kMost); ++i) {
    text += (i == 0 ? ": " : ", ") + Readable(alerting[i]);
  }
  if (alerting.size() > kMost) text += fmt::format(" and {} more", alerting.size() - kMost);
  return text;
}

}  // namespace

ReadyCheck LoadCheck(const std::string& folder, const std::string& name) {
  if (name.empty()) throw std::invalid_argument("check needs NAME: see --list");
  if (name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") != std::string::npos) {
    throw std::invalid_argument(fmt::format("\"{}\" is not the name of a check: see --list", name));
  }
  const std::vector<std::string> known = CheckNames(folder);
  if (std::find(known.begin(), known.end(), name) == known.end()) {
    throw std::invalid_argument(
        fmt::format("there is no check \"{}\": see --list{}", name, DidYouMean(name, known)));
  }
  const std::string own = ReadLocalFile(folder + '/' + name, kLargestCheck);
  std::string_view rest = own;
  std::string_view title;
  std::string_view rule;
  if (!TakePiece(&rest, "\n", &title) || !TakePiece(&rest, "\n", &rule) ||
      !title.starts_with("# ") || !rule.starts_with("# ")) {
    throw std::invalid_argument(
        fmt::format("{}/{} is no check: its first lines tell nothing", folder, name));
  }
  ReadyCheck check;
  check.title = title.substr(2);
  check.text = ReadLocalFile(folder + '/' + kLibrary, kLargestCheck) + own;
  (void)Word(&rule);
  check.range = RangeOf(Word(&rule));
  while (!rule.empty()) {
    const std::string option = Word(&rule);
    if (option == "-w") check.warning = Word(&rule);
    if (option == "-c") check.critical = Word(&rule);
  }
  return check;
}

std::vector<std::string> CheckNames(const std::string& folder) {
  const DirPtr directory(opendir(folder.c_str()));
  if (directory == nullptr) {
    throw std::invalid_argument("there are no checks in " + folder + " (--from DIR takes others)");
  }
  std::vector<std::string> names;
  while (const dirent* entry = readdir(directory.get())) {
    const std::string name = entry->d_name;
    if (name.find('.') == std::string::npos) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

Value ReadFigures(std::string_view output, const std::string& errors, std::string* kept) {
  std::string text;
  std::string unknown;
  List figures;
  for (std::string_view line; TakePiece(&output, "\n", &line);) {
    const std::string kind = Word(&line);
    if (kind == "judge" || kind == "show") {
      figures.push_back(ReadFigure(line, kind == "judge"));
    } else if (kind == "text") {
      text = line;
    } else if (kind == "unknown") {
      unknown = line;
    } else if (kind == "keep") {
      kept->append(line).append("\n");
    }
  }
  return Record{{"text", text},
                {"unknown", Value::TextIfAny(unknown)},
                {"figures", std::move(figures)},
                {"errors", errors}};
}

Verdict JudgeFigures(const Value& result, const Thresholds& thresholds) {
  if (const std::string* reason = result["unknown"].As<std::string>()) {
    return {State::kUnknown, *reason, {}};
  }
  Verdict verdict;
  size_t judged = 0;
  std::vector<Metric> alerting;
  for (const Value& figure : *result["figures"].As<List>()) {
    const bool applies = *figure["judged"].As<bool>();
    const Metric metric = {*figure["label"].As<std::string>(), figure["value"].AsNumber(),
                           *figure["unit"].As<std::string>(),  applies ? thresholds : Thresholds(),
                           NumberOf(figure["least"]),          NumberOf(figure["most"])};
    const State state = metric.thresholds.Judge(metric.value);
    if (state == verdict.state && state != State::kOk) alerting.push_back(metric);
    if (state > verdict.state) alerting = {metric};
    verdict.state = std::max(verdict.state, state);
    judged += applies;
    verdict.metrics.push_back(metric);
  }
  verdict.text = *result["text"].As<std::string>();
  if (judged == 0) {
    return {State::kUnknown, "no figure to judge: " + *result["errors"].As<std::string>(), {}};
  }
  if (judged > 1) verdict.text += Alerting(alerting);
  return verdict;
}

}  // namespace zem::client
