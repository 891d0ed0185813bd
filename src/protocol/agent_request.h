// SPDX-License-Identifier: BSD-2-Clause
// The parameter text of one request, as handlers read it: by line number or by name.
//
// Shapes:  lines end in LF; the last one normally carries the CR end mark and no LF. A named
//          parameter is a line name=value; blanks around name and value do not count, names are
//          matched to the letter. Missing reads as empty.
// Threads: constant once made; any.

#ifndef ZEM_PROTOCOL_AGENT_REQUEST_H_
#define ZEM_PROTOCOL_AGENT_REQUEST_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "protocol/date_time.h"
#include "text/ovstring.h"

namespace zem {

enum class Trim : bool { kNo, kYes };

class AgentRequest {
 public:
  explicit AgentRequest(std::string_view parameters) : text_(parameters) {}

  const OvString& Text() const { return text_; }

  // How many line feeds the text holds.
  size_t CountLines() const;
  // Line `number`, counted from 1; empty when there are fewer lines.
  OvString GetLine(size_t number, Trim trim) const;
  OvString GetLine(size_t number) const { return GetLine(number, Trim::kYes); }
  // True when the trimmed line is exactly "1".
  bool GetFlagLine(size_t number) const;
  // The trimmed line as a number; nothing when it is not one (see IsNumeric).
  std::optional<int32_t> GetNumberLine(size_t number) const;

  // Only lines followed by a line feed are searched; the first match wins.
  OvString GetParam(std::string_view name) const;
  int32_t GetParamInt(std::string_view name) const;
  double GetParamFloat(std::string_view name) const;
  bool GetParamBool(std::string_view name) const;
  DateTimeFields GetParamDateTime(std::string_view name) const;
  // Deliberate: an empty value counts as 0 and a decimal point makes a value no number.
  std::optional<int32_t> TryParamInt(std::string_view name) const;
  std::optional<double> TryParamFloat(std::string_view name) const;

 private:
  OvString text_;
};

// Splits a line at its first "=" into trimmed halves; false when there is none.
[[nodiscard]] bool SplitParameter(std::string_view line, std::string_view* name,
                                  std::string_view* value);

// Cuts the first line, without its LF, off the front of `*rest`; false when no LF is left.
[[nodiscard]] bool TakeLine(std::string_view* rest, std::string_view* line);

}  // namespace zem

#endif  // ZEM_PROTOCOL_AGENT_REQUEST_H_
