// SPDX-License-Identifier: BSD-2-Clause
#include "plugin/check.h"

#include <algorithm>
#include <cctype>

#include "model/printable.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr State kStates[] = {State::kOk, State::kWarning, State::kCritical, State::kUnknown};

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
  std::string text = '\'' + label + "'=" + PlainNumber(metric.value) + metric.unit;
  text += ';' + RangeText(metric.thresholds.warning) + ';' + RangeText(metric.thresholds.critical);
  text += ';' + (metric.least ? PlainNumber(*metric.least) : "");
  text += ';' + (metric.most ? PlainNumber(*metric.most) : "");
  text.erase(text.find_last_not_of(';') + 1);
  return text;
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
  for (const State state : kStates) {
    if (EqualsIgnoringCase(text, StateName(state)) ||
        text == std::to_string(static_cast<int>(state))) {
      return state;
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
