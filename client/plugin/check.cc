// SPDX-License-Identifier: BSD-2-Clause
#include "plugin/check.h"

#include <algorithm>
#include <cctype>

#include "model/printable.h"
#include "model/words.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

// In the order of the states.
constexpr const char* kStateNames[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
constexpr int kWeights[] = {0, 2, 3, 1};

size_t Index(State state) {
  return static_cast<size_t>(state);
}

std::string RangeText(const std::optional<Range>& range) {
  return range ? range->Text() : "";
}

std::string Field(const Metric& metric) {
  std::string label = metric.label;
  // A quote in a label is written twice; "=" cannot be written at all.
  std::replace(label.begin(), label.end(), '=', '_');
  for (size_t at = 0; (at = label.find('\'', at)) != std::string::npos; at += 2) {
    label.insert(at, 1, '\'');
  }
  if (!metric.written.empty()) return '\'' + label + "'=" + metric.written;
  std::string text = '\'' + label + "'=" + PlainNumber(metric.value) + metric.unit;
  text += ';' + RangeText(metric.thresholds.warning) + ';' + RangeText(metric.thresholds.critical);
  text += ';' + (metric.least ? PlainNumber(*metric.least) : "");
  text += ';' + (metric.most ? PlainNumber(*metric.most) : "");
  text.erase(text.find_last_not_of(';') + 1);
  return text;
}

// Takes 'a label' or label off the front, and the "=" behind it; false when there is none.
bool TakeLabel(std::string_view* text, std::string* label) {
  const bool quoted = text->starts_with('\'');
  if (quoted) text->remove_prefix(1);
  while (!text->empty() && (quoted || text->front() != '=')) {
    const bool quote = quoted && text->front() == '\'';
    if (quote) text->remove_prefix(1);
    if (quote && !text->starts_with('\'')) break;  // the end; two of them are one of the label
    if (text->empty()) return false;
    *label += text->front();
    text->remove_prefix(1);
  }
  if (label->empty() || !text->starts_with('=')) return false;
  text->remove_prefix(1);
  return true;
}

std::string WithoutBars(std::string text) {
  std::replace(text.begin(), text.end(), '|', '/');
  return text;
}

}  // namespace

const char* StateName(State state) {
  return kStateNames[Index(state)];
}

State Worse(State a, State b) {
  return kWeights[Index(a)] >= kWeights[Index(b)] ? a : b;
}

std::optional<State> ParseState(std::string_view text) {
  for (int number = 0; number < std::ssize(kStateNames); ++number) {
    if (EqualsIgnoringCase(text, kStateNames[number]) || text == std::to_string(number)) {
      return static_cast<State>(number);
    }
  }
  return std::nullopt;
}

State Thresholds::Judge(double value) const {
  if (critical && critical->Alerts(value)) return State::kCritical;
  if (warning && warning->Alerts(value)) return State::kWarning;
  return State::kOk;
}

bool Thresholds::Reversed() const {
  if (!warning || !critical || warning->inside != critical->inside ||
      warning->percent != critical->percent) {
    return false;
  }
  if (!warning->inside && warning->Text() == "~:") return false;  // warns of nothing, as asked
  const Range& outer = warning->inside ? *critical : *warning;
  const Range& inner = warning->inside ? *warning : *critical;
  const bool same = outer.low == inner.low && outer.high == inner.high;
  return !same && outer.low <= inner.low && inner.high <= outer.high;
}

std::string PerformanceData(const std::vector<Metric>& metrics) {
  std::string text;
  for (const Metric& metric : metrics) {
    if (!text.empty()) text += ' ';
    text += Field(metric);
  }
  return text;
}

bool ReadFigure(std::string_view text, Metric* metric) {
  static constexpr std::string_view kUnits[] = {"",   "%",  "s",  "ms", "us", "B",
                                                "KB", "MB", "GB", "TB", "c"};
  const size_t end = std::min(text.find_first_not_of("+-.0123456789"), text.size());
  metric->unit = text.substr(end);
  return std::find(std::begin(kUnits), std::end(kUnits), metric->unit) != std::end(kUnits) &&
         ParseDecimal(text.substr(0, end), &metric->value);
}

std::vector<Metric> ReadPerformanceData(std::string_view text) {
  std::vector<Metric> metrics;
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    Metric metric;
    if (!TakeLabel(&text, &metric.label)) return metrics;
    metric.written = text.substr(0, text.find_first_of(" \t"));
    text.remove_prefix(metric.written.size());
    const std::string_view figure = std::string_view(metric.written);
    if (ReadFigure(figure.substr(0, figure.find(';')), &metric)) metrics.push_back(metric);
  }
}

std::string HostLine(std::string_view host, const Verdict& verdict) {
  return WithoutBars(Printable(host)) + ' ' + StateName(verdict.state) + " - " +
         WithoutBars(Printable(verdict.text));
}

std::string PluginLine(std::string_view command, const Verdict& verdict) {
  std::string name(command);
  for (char& byte : name) byte = static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
  std::string line = HostLine(name, verdict);
  const std::string figures = PerformanceData(verdict.metrics);
  if (!figures.empty()) line += " | " + WithoutBars(Printable(figures));
  return line;
}

}  // namespace zem::client
