// SPDX-License-Identifier: BSD-2-Clause
// The verdict of a check: a state, a line, figures with their thresholds.
//
// Errors:  std::invalid_argument, with a text for the person who typed a threshold.
// Threads: as any value.

#ifndef ZEM_CLIENT_PLUGIN_CHECK_H_
#define ZEM_CLIENT_PLUGIN_CHECK_H_

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/words.h"

namespace zem::client {

// Threshold ranges as monitoring plugins write them.
//
//   10      alert outside 0 to 10          5:      alert below 5
//   ~:10    alert above 10                 5:10    alert outside 5 to 10
//   @5:10   alert inside 5 to 10, both ends included
struct Range {
  double low = 0;
  double high = std::numeric_limits<double>::infinity();
  bool inside = false;   // alert inside instead of outside
  bool percent = false;  // the numbers are shares of a whole

  bool Alerts(double value) const;
  // As performance data spells it.
  std::string Text() const;
};

Range ParseRange(std::string_view text, UnitScale scale);

// The units that a command's thresholds may carry, each a parser of whole ranges.
using RangeParser = Range (*)(std::string_view text);
Range PlainRange(std::string_view text);
Range PercentRange(std::string_view text);
Range BytesRange(std::string_view text);    // K, M, G, T, powers of 1024
Range SecondsRange(std::string_view text);  // ms, s, m, h, d; seconds without a unit
Range MinutesRange(std::string_view text);  // the same; minutes without a unit, seconds inside
// Free space: bytes, or a share with "%". A single number is the least that must be free.
Range FreeSpaceRange(std::string_view text);

// A number as performance data spells it: no exponent, no needless digits, a decimal point.
std::string PlainNumber(double number);

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
