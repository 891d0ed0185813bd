// SPDX-License-Identifier: BSD-2-Clause
#include "commands/forms.h"
#include "commands/table.h"
#include "model/words.h"

namespace zem::client {

namespace {

// --- proc

constexpr Argument kProcArguments[] = {
    {"name", "name,--name", kRequired, "NAME",
     "process name; with a blank or \"/\", part of the command line"},
    {"unquoted", "--unquoted", kFlag, "",
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
  return PlanFor("TEST-Process - name", arguments);
}

constexpr Field kProcReply[] = {{"name"}, {"count", 1, CountOf}};

std::string SummariseProc(const Answer& /*answer*/, const Value& result) {
  const bool one = result["count"].AsNumber() == 1;
  return Sentence(one ? "1 process named {name}" : "{count:.0f} processes named {name}", result);
}

Verdict CheckProc(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  Thresholds limits = thresholds;
  // Who asks after a process without a threshold wants to know that it runs.
  if (!limits.Given()) limits.critical = Range{1};
  return Judge<"count", "count">(answer, result, limits);
}

// --- procs

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
  // The agent's own process would be in it.
  if (names.empty()) throw NoAnswer("the list is empty", kProcessesHint);
  return Record{{"count", names.size()},
                {"last_line_doubled", doubled},
                {"processes", List(names.begin(), names.end())}};
}

// --- cpu

constexpr Field kCpuReply[] = {{"usage_percent", 1, PercentOf}};

constexpr Command kRows[] = {
    {
        .name = "proc",
        .summary = "how many processes of a name run",
        .switch_keys = "process=1",
        .arguments = kProcArguments,
        .subject = "{name}",
        .build = BuildProc,
        .parse = Fields<kProcReply>,
        .summarise = SummariseProc,
        .check = CheckProc,
        .notes =
            "Counted by the script named by proccntscript. As a check: -w and -c apply to the\n"
            "number; without them none is CRITICAL.",
    },
    {
        .name = "procs",
        .summary = "the names of the processes that run",
        .switch_keys = "process=1",
        .build = Request<"GetProcessesList">,
        .parse = ParseProcs,
        .summarise = Says<"{count:.0f} processes">,
        .check = Judge<"count", "count">,
        .notes =
            "Listed by the script named by proclistscript. When the last two names are the same,\n"
            "one is dropped: the agent repeats the last line of output that ends in a line feed.\n"
            "As a check: -w and -c apply to the number of names.",
    },
    {
        .name = "cpu",
        .summary = "CPU usage",
        .switch_keys = "cpuusage=1",
        .build = Request<"TEST-CPU">,
        .parse = Fields<kCpuReply>,
        .summarise = Says<"{usage_percent:.1f}% used">,
        .check = Judge<"cpu", "usage_percent", 100>,
        .range = PercentRange,
        .notes = "Measured by the script named by cpuusagescript, which may take 8 seconds. As a "
                 "check:\n"
                 "-w and -c apply to the per cent.",
    },
};

}  // namespace

const std::span<const Command> kProcessCommands = kRows;

}  // namespace zem::client
