// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/agent_request.h"

#include <algorithm>

#include "text/numbers.h"

namespace zem {

bool TakeLine(std::string_view* rest, std::string_view* line) {
  const size_t end = rest->find('\n');
  if (end == std::string_view::npos) return false;
  *line = rest->substr(0, end);
  rest->remove_prefix(end + 1);
  return true;
}

bool SplitParameter(std::string_view line, std::string_view* name, std::string_view* value) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) return false;
  *name = Trimmed(line.substr(0, equals));
  *value = Trimmed(line.substr(equals + 1));
  return true;
}

size_t AgentRequest::CountLines() const {
  const std::string_view text = text_;
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

OvString AgentRequest::GetLine(size_t number, Trim trim) const {
  if (number == 0) return {};
  std::string_view rest = text_;
  std::string_view line;
  for (; number > 1; --number) {
    if (!TakeLine(&rest, &line)) return {};
  }
  if (!TakeLine(&rest, &line)) line = rest;
  return trim == Trim::kYes ? Trimmed(line) : line;
}

bool AgentRequest::GetFlagLine(size_t number) const {
  return GetLine(number) == "1";
}

std::optional<int32_t> AgentRequest::GetNumberLine(size_t number) const {
  const OvString line = GetLine(number);
  if (!IsNumeric(line)) return std::nullopt;
  return ParseInt(line);
}

OvString AgentRequest::GetParam(std::string_view name) const {
  std::string_view rest = text_;
  std::string_view line;
  while (TakeLine(&rest, &line)) {
    std::string_view line_name;
    std::string_view value;
    if (SplitParameter(line, &line_name, &value) && line_name == name) return value;
  }
  return {};
}

int32_t AgentRequest::GetParamInt(std::string_view name) const {
  return ParseInt(GetParam(name));
}

double AgentRequest::GetParamFloat(std::string_view name) const {
  return ParseFloat(GetParam(name));
}

bool AgentRequest::GetParamBool(std::string_view name) const {
  return GetParam(name) == "1";
}

DateTimeFields AgentRequest::GetParamDateTime(std::string_view name) const {
  return ParseTimestamp(GetParam(name));
}

std::optional<int32_t> AgentRequest::TryParamInt(std::string_view name) const {
  const OvString value = GetParam(name);
  if (!IsNumeric(value)) return std::nullopt;
  return ParseInt(value);
}

std::optional<double> AgentRequest::TryParamFloat(std::string_view name) const {
  const OvString value = GetParam(name);
  if (!IsNumeric(value)) return std::nullopt;
  return ParseFloat(value);
}

}  // namespace zem
