// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/format.h>

#include "commands/forms.h"
#include "commands/table.h"
#include "model/words.h"
#include "protocol/escape.h"

namespace zem::client {

namespace {

int64_t Number(const Reply& reply, std::string_view name) {
  const std::optional<std::string_view> text = NamedLine(reply, name);
  const std::optional<int64_t> number = text ? ParseWhole(*text) : std::nullopt;
  if (!number) throw BadReply(fmt::format("the reply names no number for {}", name));
  return *number;
}

// Names, each ended by an escaped CR LF, beside one digit a name.
Value Catalogue(const Reply& reply, std::string_view names_key, std::string_view digits_key) {
  const std::optional<std::string_view> escaped = NamedLine(reply, names_key);
  const std::optional<std::string_view> digits = NamedLine(reply, digits_key);
  if (!escaped || !digits) return Value();
  const OvString names = UnescapeLineBreaks(*escaped);
  std::string_view rest = names.View();
  Record record;
  for (const char digit : *digits) {
    const size_t end = rest.find("\r\n");
    if (end == std::string_view::npos) break;
    record.emplace_back(std::string(rest.substr(0, end)), digit == '1');
    rest.remove_prefix(end + 2);
  }
  return record;
}

std::string SummariseInfo(const Answer& answer, const Value& result) {
  const std::string* host = result["host_name"].As<std::string>();
  return fmt::format(
      "{} {} on {}, {} active, {} opened, {} rejected",
      NamedLine(answer.reply, "AgentName").value_or("agent"),
      NamedLine(answer.reply, "AgentVersion").value_or("?"),
      host != nullptr ? *host : "unnamed host", result["connections"]["active"].AsNumber(),
      result["connections"]["opened"].AsNumber(), result["connections"]["rejected"].AsNumber());
}

Verdict CheckInfo(const Answer& /*answer*/, const Value& result, const Thresholds& thresholds) {
  const Value& connections = result["connections"];
  return {thresholds.Judge(connections["active"].AsNumber()),
          "",
          {MetricOf("active", connections["active"], thresholds),
           {"opened", connections["opened"].AsNumber(), "", {}, {}, {}},
           {"rejected", connections["rejected"].AsNumber(), "", {}, {}, {}}}};
}

Value ParsePing(const Answer& answer) {
  return Record{
      {"connect_ms", Value::Millis(answer.exchange.ConnectedMillis())},
      {"round_trip_ms", Value::Millis(answer.exchange.ElapsedMillis())},
      {"version", NamedLine(answer.reply, "AgentVersion")},
  };
}

constexpr Command kRows[] = {
    {
        .name = "info",
        .summary = "what the agent is, what it offers, what is switched on",
        .build = Request<"GetInfo">,
        .parse = ParseInfo,
        .summarise = SummariseInfo,
        .check = CheckInfo,
        .notes = "As a check: -w and -c apply to the connections now active.",
    },
    {
        .name = "ping",
        .summary = "ask the agent something small and time it",
        .build = Request<"GetInfo">,
        .parse = ParsePing,
        .summarise = Says<"answers in {round_trip_ms:.2f} ms">,
        .check = Judge<"time", "round_trip_ms">,
        .range = SecondsRange,
        .notes = "As a check: -w and -c apply to the round-trip time in seconds (units ms, s).",
    },
};

}  // namespace

std::optional<std::string_view> NamedLine(const Reply& reply, std::string_view name) {
  for (const std::string& text : reply.lines) {
    const std::string_view line = text;
    if (line.size() > name.size() && line.substr(0, name.size()) == name &&
        line[name.size()] == '=') {
      return line.substr(name.size() + 1);
    }
  }
  return std::nullopt;
}

Value ParseInfo(const Answer& answer) {
  const Reply& reply = answer.reply;
  return Record{
      {"name", NamedLine(reply, "AgentName")},
      {"version", NamedLine(reply, "AgentVersion")},
      {"platform", NamedLine(reply, "AgentPlatform")},
      {"developer", NamedLine(reply, "AgentDeveloper")},
      {"host_name", NamedLine(reply, "HostName")},
      {"running_os", NamedLine(reply, "RunningOS")},
      {"os_updates", NamedLine(reply, "OSUpdates")},
      {"comment", NamedLine(reply, "Comment")},
      {"port", Number(reply, "Port")},
      {"timeout_ms", Value::Millis(static_cast<double>(Number(reply, "Timeout")))},
      {"connections",
       Record{
           {"active", Number(reply, "ActiveConnections")},
           {"opened", Number(reply, "OpenedConnections")},
           {"rejected", Number(reply, "FailedConnections")},
       }},
      {"tests", Catalogue(reply, "Available tests", "Enabled tests")},
      {"actions", Catalogue(reply, "Available actions", "Enabled actions")},
  };
}

const std::span<const Command> kInfoCommands = kRows;

}  // namespace zem::client
