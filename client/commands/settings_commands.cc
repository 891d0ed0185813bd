// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>

#include <fmt/format.h>

#include "commands/forms.h"
#include "commands/table.h"
#include "core/config_file.h"
#include "core/settings.h"
#include "model/secret.h"
#include "model/words.h"
#include "protocol/escape.h"
#include "text/ovstring.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

// --- settings get

constexpr Argument kGetArguments[] = {
    {"show-password", "--show-password", kFlag, "", "do not mask the password"},
};

constexpr std::string_view kPasswordLine = "Password=";
constexpr std::string_view kMasked = "********";

void MaskPassword(const Arguments& arguments, std::string* reply) {
  if (arguments.Has("show-password")) return;
  size_t line = 0;
  while (line < reply->size()) {
    const size_t end = std::min(reply->find('\n', line), reply->size());
    if (std::string_view(*reply).substr(line).starts_with(kPasswordLine)) {
      const size_t value = line + kPasswordLine.size();
      // Overwritten before it is cut, so that it does not linger behind the text's end.
      std::fill(reply->begin() + static_cast<ptrdiff_t>(value),
                reply->begin() + static_cast<ptrdiff_t>(end), '*');
      reply->replace(value, end - value, kMasked);
    }
    line = std::min(reply->find('\n', line), reply->size()) + 1;
  }
}

std::string_view Named(const Reply& reply, std::string_view name) {
  const std::optional<std::string_view> value = NamedLine(reply, name);
  if (!value) throw BadReply(fmt::format("the reply lacks the setting {}", name));
  return *value;
}

// In the order in which they are shown.
constexpr std::string_view kShownSettings[] = {
    "Port",          "Timeout",      "Comment",      "LogOkConn",   "LogBadConn",
    "OkLogFile",     "BadLogFile",   "Password",     "IPFiltering", "IPFilterAddr",
    "IPFilterMarks", "AllowUpdates", "AllowRManage", "UpdateAddr",  "ManageAddr"};

Value SettingValue(const SettingRow& row, std::string_view text) {
  if (std::holds_alternative<bool Settings::*>(row.member)) return text == "1";
  if (std::holds_alternative<int Settings::*>(row.member)) {
    const std::optional<int64_t> value = ParseWhole(text);
    if (!value) throw BadReply(fmt::format("the setting {} is no number", row.wire_name));
    return *value;
  }
  // One address a line on the wire; blanks between them, as in the file.
  if (IsFilterList(row)) return FileFilterList(UnescapeLineBreaks(text)).View();
  return text;
}

Value ParseGet(const Answer& answer) {
  Record settings;
  for (const std::string_view name : kShownSettings) {
    settings.emplace_back(name,
                          SettingValue(*FindSettingByWireName(name), Named(answer.reply, name)));
  }
  const Value info = ParseInfo(answer);
  return Record{{"settings", Value::Flat(std::move(settings))},
                {"tests", info["tests"]},
                {"actions", info["actions"]}};
}

std::string SummariseGet(const Answer& answer, const Value& /*result*/) {
  return fmt::format("port {}, filter {}, management {}, updates {}", Named(answer.reply, "Port"),
                     Named(answer.reply, "IPFiltering") == "1" ? "on" : "off",
                     Named(answer.reply, "AllowRManage") == "1" ? "on" : "off",
                     Named(answer.reply, "AllowUpdates") == "1" ? "on" : "off");
}

// --- settings set

constexpr Argument kSetArguments[] = {
    {"settings", "settings", kAny, "NAME=VALUE",
     "wire names or configuration keys, e.g. Timeout=5000 tcp=off", kSettingNames},
    {"new-password-file", "--new-password-file", kOption, "FILE",
     "set the password to the first line of FILE; - = stdin", kLocalFile},
};

const SettingRow* FindRow(std::string_view name) {
  if (const SettingRow* row = FindSettingByWireName(name)) return row;
  for (const SettingRow& row : SettingsTable()) {
    if (EqualsIgnoringCase(name, row.wire_name) || EqualsIgnoringCase(name, row.key)) return &row;
  }
  return nullptr;
}

const SettingRow& KnownRow(std::string_view name) {
  const SettingRow* row = name.empty() ? nullptr : FindRow(name);
  if (row == nullptr) {
    std::vector<std::string> known;
    for (const SettingRow& each : SettingsTable()) {
      known.emplace_back(each.wire_name);
      known.emplace_back(each.key);
    }
    throw std::invalid_argument(fmt::format("{}: no such setting (the agent would ignore it){}",
                                            name, DidYouMean(name, known)));
  }
  if (row->wire_name.empty()) {
    throw std::invalid_argument(
        fmt::format("{} can be changed in the agent's configuration file alone", name));
  }
  return *row;
}

std::string FlagValue(std::string_view name, std::string_view value) {
  for (const char* on : {"1", "on", "yes", "true"}) {
    if (EqualsIgnoringCase(value, on)) return "1";
  }
  for (const char* off : {"0", "off", "no", "false"}) {
    if (EqualsIgnoringCase(value, off)) return "0";
  }
  throw std::invalid_argument(fmt::format("{}: \"{}\" is neither on nor off", name, value));
}

std::string NumberValue(const SettingRow& row, std::string_view value) {
  const bool port = IsPort(row);
  return std::to_string(
      WholeNumber(row.wire_name, value, port ? 1 : -1, port ? 65535 : 86'400'000));
}

// Addresses between blanks or commas, one a line on the wire.
std::string FilterValue(std::string value) {
  std::replace(value.begin(), value.end(), ',', ' ');
  std::string list;
  std::string_view rest = value;
  for (std::string_view each; TakePiece(&rest, " ", &each);) {
    if (!each.empty()) list.append(list.empty() ? "" : "\r\n").append(each);
  }
  return std::string(EscapeLineBreaks(list).View());
}

void CheckText(const SettingRow& row, std::string_view value) {
  // The agent trims values and writes each into one line of its file.
  if (Trimmed(value).size() != value.size()) {
    throw std::invalid_argument(
        fmt::format("{}: begins or ends with a blank, which the agent would drop", row.wire_name));
  }
  constexpr size_t kAround = std::string_view("=\r\n").size();
  if (row.key.size() + value.size() + kAround > kLongestConfigLine) {
    throw std::invalid_argument(fmt::format("{}: too long for the agent's file", row.wire_name));
  }
}

std::string WireValue(const SettingRow& row, std::string_view value) {
  if (std::holds_alternative<bool Settings::*>(row.member)) return FlagValue(row.wire_name, value);
  if (std::holds_alternative<int Settings::*>(row.member)) return NumberValue(row, value);
  CheckText(row, value);
  return IsFilterList(row) ? FilterValue(std::string(value)) : std::string(value);
}

void WarnOf(const SettingRow& row, std::string_view value, Plan* plan) {
  if (value.empty()) {
    plan->warnings.push_back(fmt::format(
        "{}: an empty text is live now, but the agent's file keeps the old one", row.wire_name));
  }
  if (row.wire_name.starts_with("IPFilter")) {
    plan->warnings.push_back(
        fmt::format("{} takes effect for connections after a reload", row.wire_name));
  }
}

void AddSetting(std::string_view argument, RequestText* request, Plan* plan) {
  const size_t equals = argument.find('=');
  if (equals == std::string_view::npos) {
    throw std::invalid_argument(fmt::format("{} is not NAME=VALUE", argument));
  }
  const SettingRow& row = KnownRow(Trimmed(argument.substr(0, equals)));
  if (row.key == "password") {
    throw std::invalid_argument(
        "a password on the command line can be read by everybody on this "
        "machine; use --new-password-file");
  }
  const std::string value = WireValue(row, argument.substr(equals + 1));
  WarnOf(row, value, plan);
  request->Setting(row.wire_name, value);
}

Plan BuildSet(const Arguments& arguments) {
  Plan plan;
  RequestText request("SetSettings");
  for (const std::string& setting : arguments.All("settings")) {
    AddSetting(setting, &request, &plan);
  }
  if (arguments.Has("new-password-file")) {
    const Secret password =
        ReadPasswordFile(arguments.Text("new-password-file"), Privacy::kOwnerOnly);
    const SettingRow& row = *FindSettingByKey("password");
    CheckText(row, password.View());
    request.Setting(row.wire_name, password.View());
  } else if (!arguments.Has("settings")) {
    throw std::invalid_argument("nothing to set: give NAME=VALUE");
  }
  plan.text = request.Finish();
  return plan;
}

// The reply is the bare status: what was changed is what was asked for.
Value ParseSet(const Answer& answer) {
  List names;
  for (const std::string& setting : answer.arguments.All("settings")) {
    names.push_back(FindRow(Trimmed(setting.substr(0, setting.find('='))))->wire_name);
  }
  if (answer.arguments.Has("new-password-file")) names.push_back("Password");
  return Record{{"changed", Value::Flat(std::move(names))}};
}

std::string SummariseSet(const Answer& answer, const Value& /*result*/) {
  const size_t changed =
      answer.arguments.All("settings").size() + (answer.arguments.Has("new-password-file") ? 1 : 0);
  return fmt::format("{} set, saved in the agent's configuration", changed);
}

constexpr Command kRows[] = {
    {
        .name = "settings get",
        .summary = "the settings that can be changed from afar",
        .switch_keys = kManagement,
        .arguments = kGetArguments,
        .build = Request<"GetSettings">,
        .parse = ParseGet,
        .summarise = SummariseGet,
        .mask = MaskPassword,
    },
    {
        .name = "settings set",
        .summary = "change settings, live and in the agent's file",
        .switch_keys = kManagement,
        .arguments = kSetArguments,
        .build = BuildSet,
        .parse = ParseSet,
        .summarise = SummariseSet,
        .notes =
            "Switches take on and off. IPFilterAddr takes addresses between blanks or commas; it\n"
            "and IPFilterMarks take effect at the next reload.",
    },
};

}  // namespace

const std::span<const Command> kSettingsCommands = kRows;

}  // namespace zem::client
