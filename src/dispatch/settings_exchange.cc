// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/settings_exchange.h"

#include <string_view>

#include "core/settings.h"
#include "dispatch/agent_info.h"
#include "protocol/escape.h"
#include "text/numbers.h"

namespace zem {

namespace {

// What follows the agent information, in this order.
constexpr std::string_view kReportedSettings[] = {
    "LogOkConn",    "LogBadConn",    "OkLogFile",    "BadLogFile",   "Password",   "IPFiltering",
    "IPFilterAddr", "IPFilterMarks", "AllowUpdates", "AllowRManage", "UpdateAddr", "ManageAddr",
};

void ReportSetting(const SettingRow& row, const Settings& settings, AgentReply* reply) {
  if (const auto* flag = std::get_if<bool Settings::*>(&row.member)) {
    AddKeyLine(row.wire_name, settings.*(*flag) ? "1" : "0", reply);
  } else if (const auto* text = std::get_if<OvString Settings::*>(&row.member)) {
    // The filter list alone holds line breaks between its items.
    const Escape escape = IsFilterList(row) ? Escape::kYes : Escape::kNo;
    AddKeyLine(row.wire_name, settings.*(*text), reply, escape);
  }
}

void StoreWireValue(const SettingRow& row, std::string_view value, Settings* settings) {
  if (const auto* flag = std::get_if<bool Settings::*>(&row.member)) {
    settings->*(*flag) = value == "1";
  } else if (const auto* number = std::get_if<int Settings::*>(&row.member)) {
    settings->*(*number) = ParseInt(value);
  } else if (const auto* text = std::get_if<OvString Settings::*>(&row.member)) {
    settings->*(*text) = IsFilterList(row) ? UnescapeLineBreaks(value) : OvString(value);
  }
}

// Only lines followed by a line feed count; a later line overrides an earlier one.
void StoreLines(std::string_view lines, Settings* settings) {
  std::string_view line;
  while (TakeLine(&lines, &line)) {
    std::string_view name;
    std::string_view value;
    if (!SplitParameter(line, &name, &value)) continue;
    const SettingRow* row = FindSettingByWireName(name);
    if (row != nullptr) StoreWireValue(*row, value, settings);
  }
}

}  // namespace

void GetSettings(const AgentRequest& request, const RequestContext& context, AgentReply* reply) {
  GetInfo(request, context, reply);
  for (const std::string_view name : kReportedSettings) {
    ReportSetting(*FindSettingByWireName(name), context.settings, reply);
  }
}

void SetSettings(const AgentRequest& request, const RequestContext& context, AgentReply* reply) {
  OvString error;
  const auto change = [&request](Settings* settings) { StoreLines(request.Text(), settings); };
  if (context.store->UpdateAndSave(change, &error)) {
    reply->SetStatus(status::kDone);
  } else {
    reply->SetStatus(status::kFailed).Append(error);
  }
}

}  // namespace zem
