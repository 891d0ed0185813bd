// SPDX-License-Identifier: BSD-2-Clause
// The verdict of a check: a state, a line, figures with their thresholds.
//
// Threads: as any value.

#ifndef ZEM_CLIENT_PLUGIN_CHECK_H_
#define ZEM_CLIENT_PLUGIN_CHECK_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/range.h"

namespace zem::client {

// The exit codes of plugins.
enum class State : int { kOk = 0, kWarning = 1, kCritical = 2, kUnknown = 3 };

const char* StateName(State state);
// CRITICAL before WARNING before UNKNOWN before OK.
State Worse(State a, State b);
// From a name (any case) or its number; nothing for another text.
std::optional<State> ParseState(std::string_view text);

struct Thresholds {
  std::optional<Range> warning;
  std::optional<Range> critical;

  State Judge(double value) const;
  bool Given() const { return warning || critical; }
  // Whether everything that is to warn is critical already.
  bool Reversed() const;
};

struct Metric {
  std::string label;
  double value = 0;
  std::string unit;  // B, %, s or empty
  Thresholds thresholds;
  std::optional<double> least;
  std::optional<double> most;
  std::string written = {};  // stands behind the label instead of all that; may be empty
};

struct Verdict {
  State state = State::kOk;
  std::string text;
  std::vector<Metric> metrics;
  std::string whole = {};  // handed on as it is instead of all that; may be empty
  std::string name = {};   // in front of the line instead of the command's; may be empty
};

// 'label'=value[unit];[warn];[crit];[min];[max], as many fields as are needed.
std::string PerformanceData(const std::vector<Metric>& metrics);

// "85%": a number and a unit of plugins behind it, the text whole; false for any other.
[[nodiscard]] bool ReadFigure(std::string_view text, Metric* metric);
// The other way round, as far as it can be read; what stands behind the labels stays as it is.
std::vector<Metric> ReadPerformanceData(std::string_view text);

// "DISK OK - text | figures", safe to hand on: one line, and "|" only as the separator.
std::string PluginLine(std::string_view command, const Verdict& verdict);
// One of many hosts below it, without figures: "web1 OK - text".
std::string HostLine(std::string_view host, const Verdict& verdict);

}  // namespace zem::client

#endif  // ZEM_CLIENT_PLUGIN_CHECK_H_
