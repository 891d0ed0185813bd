// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>

#include <fmt/format.h>

#include "commands/fields.h"
#include "commands/table.h"
#include "model/pieces.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

// --- proc

constexpr Argument kProcArguments[] = {
    {"name", "name,--name", ArgumentKind::kRequired, "NAME",
     "process name; with a blank or \"/\", part of the command line"},
    {"unquoted", "--unquoted", ArgumentKind::kFlag, "",
     "send a name although the agent's shell would interpret it"},
};

// The agent puts the name into a shell command as it stands.
constexpr std::string_view kShellCharacters = "|&;<>()$`\\\"'*?[]#~=%{}!\t";

Plan BuildProc(const Arguments& arguments) {
  const std::string name = arguments.Text("name");
  if (!arguments.Has("unquoted") && name.find_first_of(kShellCharacters) != std::string::npos) {
    throw std::invalid_argument(
        "NAME holds a character that the agent's shell would interpret "
        "(--unquoted sends it all the same)");
  }
  RequestText request("TEST-Process");
  request.Empty().TrimmedLine(name, "NAME");
  return PlanOf(request.Finish());
}

Value ParseProc(const Answer& answer) {
  return Value::Of(Record{{"name", Value::Text(answer.arguments.Text("name"))},
                          {"count", Value::Int(IntLine(answer.reply, 1))}});
}

std::string SummariseProc(const Answer& answer, const Value& result) {
  const double count = result["count"].AsNumber();
  return fmt::format("{:.0f} {} named {}", count, count == 1 ? "process" : "processes",
                     answer.arguments.Text("name"));
}

Verdict CheckProc(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  const double count = result["count"].AsNumber();
  Thresholds limits = thresholds;
  // Who asks after a process without a threshold wants to know that it runs.
  if (!limits.Given()) limits.critical = Range{1};
  return {
      limits.Judge(count), SummariseProc(answer, result), {{"count", count, "", limits, 0, {}}}};
}

// --- procs

Plan BuildProcs(const Arguments& /*arguments*/) {
  return PlanOf(RequestText("GetProcessesList").Finish());
}

// The agent repeats the last line of a script whose output ends in a line feed.
bool LastIsDoubled(const std::vector<std::string>& names) {
  return names.size() >= 2 && names[names.size() - 1] == names[names.size() - 2];
}

Value ParseProcs(const Answer& answer) {
  const std::string text = UnescapedLine(answer.reply, 1);
  std::vector<std::string> names;
  std::string_view rest = text;
  for (std::string_view name; TakePiece(&rest, "\r\n", &name);) {
    if (!name.empty()) names.emplace_back(name);
  }
  const bool doubled = LastIsDoubled(names);
  if (doubled) names.pop_back();
  List list;
  for (const std::string& name : names) list.push_back(Value::Text(name));
  return Value::Of(Record{{"count", Value::Int(static_cast<int64_t>(names.size()))},
                          {"last_line_doubled", Value::Flag(doubled)},
                          {"processes", Value::Of(std::move(list))}});
}

std::string SummariseProcs(const Answer& /*answer*/, const Value& result) {
  return fmt::format("{:.0f} processes", result["count"].AsNumber());
}

Verdict CheckProcs(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  const double count = result["count"].AsNumber();
  return {thresholds.Judge(count),
          SummariseProcs(answer, result),
          {{"count", count, "", thresholds, 0, {}}}};
}

// --- cpu

Plan BuildCpu(const Arguments& /*arguments*/) {
  return PlanOf(RequestText("TEST-CPU").Finish());
}

Value ParseCpu(const Answer& answer) {
  return Value::Of(Record{{"usage_percent", Value::Percent(NumberLine(answer.reply, 1))}});
}

std::string SummariseCpu(const Answer& /*answer*/, const Value& result) {
  return fmt::format("{:.1f}% used", result["usage_percent"].AsNumber());
}

Verdict CheckCpu(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  const double usage = result["usage_percent"].AsNumber();
  return {thresholds.Judge(usage),
          SummariseCpu(answer, result),
          {{"cpu", usage, "%", thresholds, 0, 100}}};
}

}  // namespace

const Command kProcCommand = {
    .name = "proc",
    .summary = "how many processes of a name run",
    .switch_keys = "process=1",
    .arguments = kProcArguments,
    .build = BuildProc,
    .parse = ParseProc,
    .summarise = SummariseProc,
    .check = CheckProc,
    .notes =
        "Counted by the script named by proccntscript. As a check: -w and -c apply to the\n"
        "number; without them none is CRITICAL.",
};

const Command kProcsCommand = {
    .name = "procs",
    .summary = "the names of the processes that run",
    .switch_keys = "process=1",
    .arguments = {},
    .build = BuildProcs,
    .parse = ParseProcs,
    .summarise = SummariseProcs,
    .check = CheckProcs,
    .notes =
        "Listed by the script named by proclistscript. When the last two names are the same,\n"
        "one is dropped: the agent repeats the last line of output that ends in a line feed.",
};

const Command kCpuCommand = {
    .name = "cpu",
    .summary = "CPU usage",
    .switch_keys = "cpuusage=1",
    .arguments = {},
    .build = BuildCpu,
    .parse = ParseCpu,
    .summarise = SummariseCpu,
    .check = CheckCpu,
    .range = PercentRange,
    .notes = "Measured by the script named by cpuusagescript, which may take 8 seconds.",
};

}  // namespace zem::client
