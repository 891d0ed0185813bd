// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include <fmt/format.h>

#include "commands/sent_shell.h"
#include "commands/table.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr Argument kPluginArguments[] = {
    {"words", "words,--cmd", kMany, "PLUGIN",
     "a plugin of the agent's host and its arguments; behind the first word all is its own"},
    kSecondsArgument,
};

Plan BuildPlugin(const Arguments& arguments) {
  if (arguments.Text("words").empty()) throw std::invalid_argument("PLUGIN is empty");
  // "exec": a program, never a word that the shell itself understands.
  return SentShell("exec \"$@\"", arguments.All("words"), SecondsOf(arguments));
}

Value ParsePlugin(const Answer& answer) {
  const ShellSaid said = ReadSentShell(answer.reply);
  return Record{{"exit_code", said.exit_code}, {"output", said.output}, {"errors", said.errors}};
}

std::string FirstLine(const std::string& text) {
  return text.substr(0, text.find_first_of("\n|"));
}

std::string SummarisePlugin(const Answer& /*answer*/, const Value& result) {
  return FirstLine(*result["output"].As<std::string>());
}

// What is wrong with the run itself; empty when the plugin has done its work.
std::string Complaint(int exit_code, const std::string& output) {
  if (exit_code == 126 || exit_code == 127) return "the plugin cannot be run";
  constexpr int kMostSignals = 64;  // 255 is what perl and others end with on their own
  if (exit_code > 128 && exit_code <= 128 + kMostSignals) {
    return fmt::format("the plugin was killed by signal {}", exit_code - 128);
  }
  if (exit_code > 3) return fmt::format("the plugin ended with exit code {}", exit_code);
  if (!Trimmed(output).empty()) return "";
  return fmt::format("the plugin printed nothing (exit code {})", exit_code);
}

Verdict CheckPlugin(const Answer& answer, const Value& result, const Thresholds& /*none*/) {
  const int exit_code = static_cast<int>(result["exit_code"].AsNumber());
  const std::string& output = *result["output"].As<std::string>();
  const std::string complaint = Complaint(exit_code, output);
  if (complaint.empty()) {
    return {static_cast<State>(exit_code), SummarisePlugin(answer, result), {}, output};
  }
  // A shell puts its own name and the line in front of what it says of a program.
  std::string errors = *result["errors"].As<std::string>();
  if (const size_t exec = errors.find("exec: "); exec != std::string::npos)
    errors.erase(0, exec + 6);
  const std::string said(Trimmed(output).empty() ? Trimmed(errors) : Trimmed(output));
  return {State::kUnknown, complaint + (said.empty() ? "" : ": ") + said, {}};
}

constexpr Command kRows[] = {
    {
        .name = "plugin",
        .summary = "run a monitoring plugin of the agent's host",
        .switch_keys = "shellscript=1",
        .arguments = kPluginArguments,
        .subject = "{words}",
        .build = BuildPlugin,
        .parse = ParsePlugin,
        .summarise = SummarisePlugin,
        .check = CheckPlugin,
        .range = nullptr,
        .explain = ExplainKill,
        .always_check = true,
        .notes =
            "Options of zemctl stand in front of PLUGIN. Its exit code, text and figures are "
            "handed\n"
            "on as they are; a plugin that cannot be run, is killed or prints nothing is UNKNOWN.",
    },
};

}  // namespace

const std::span<const Command> kPluginCommands = kRows;

}  // namespace zem::client
