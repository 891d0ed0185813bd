// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>

#include <fmt/format.h>

#include "commands/forms.h"
#include "commands/sent_shell.h"
#include "commands/table.h"
#include "commands/typed_text.h"
#include "model/local_file.h"
#include "model/words.h"
#include "text/ovstring.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

constexpr int64_t kDefaultLimitMillis = 10'000;

// --- run and exec

constexpr Argument kRunArguments[] = {
    {"words", "words,--cmd", kMany, "CMD",
     "a command line, or the words of one; behind the first all is CMD"},
    {"limit", "--limit", kOption, "SEC", "kill it after SEC (10); 0 = never"},
    {"no-wait", "--no-wait", kFlag, "", "start it and answer after a second"},
};

constexpr Argument kExecArguments[] = {
    {"words", "words,--cmd", kMany, "CMD",
     "a command line, or the words of one; behind the first all is CMD"},
    {"dir", "--dir", kOption, "DIR", "working directory"},
    {"limit", "--limit", kOption, "SEC", "kill it after SEC (10); 0 = never"},
    {"no-wait", "--no-wait", kFlag, "", "start it and answer after a second"},
};

// Milliseconds as the request carries them: -1 does not wait, 0 has no limit.
int64_t LimitOf(const Arguments& arguments) {
  if (!arguments.Has("no-wait")) return arguments.Millis("limit", kDefaultLimitMillis);
  if (arguments.Has("limit"))
    throw std::invalid_argument("--limit and --no-wait exclude each other");
  return -1;
}

std::string CommandLineOf(const Arguments& arguments) {
  std::string line = JoinCommandLine(arguments.All("words"));
  CheckCommandLine(line);
  if (Trimmed(line).empty()) throw std::invalid_argument("CMD is empty");
  return line;
}

Plan BuildRun(const Arguments& arguments) {
  const int64_t limit = LimitOf(arguments);
  RequestText request("TEST-ExternalPrg");
  request.Line(CommandLineOf(arguments), "CMD").Empty(2).Number(limit);
  return PlanOf(request.Finish(), TimeForLimit(limit));
}

Plan BuildExec(const Arguments& arguments) {
  const int64_t limit = LimitOf(arguments);
  RequestText request("ACT-ExternalCmd");
  request.Line(CommandLineOf(arguments), "CMD")
      .TrimmedLine(arguments.Text("dir"), "DIR")
      .Number(0)
      .Number(limit);
  return PlanOf(request.Finish(), TimeForLimit(limit));
}

Value ParseRun(const Answer& answer) {
  return Record{{"exit_code", IntLine(answer.reply, 1)},
                {"waited", !answer.arguments.Has("no-wait")}};
}

std::string SummariseRun(const Answer& answer, const Value& result) {
  if (answer.arguments.Has("no-wait")) return "started";
  return fmt::format("exit code {:.0f}", result["exit_code"].AsNumber());
}

// Without thresholds the program is taken for a plugin: its exit code is the state.
Verdict CheckRun(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  Verdict verdict = Judge<"exit", "exit_code", 255>(answer, result, thresholds);
  if (!thresholds.Given()) {
    verdict.state = ParseState(Sentence("{exit_code:.0f}", result)).value_or(State::kUnknown);
  }
  return verdict;
}

// --- script

constexpr Argument kScriptArguments[] = {
    {"file", "file,--file", kRequired, "FILE", "the script, a file here", kLocalFile},
    {"params", "params", kAny, "ARG", "its arguments (behind -- if they begin with \"-\")"},
    {"lines", "--lines", kOption, "N", "return the first N lines of its output too (0)"},
    kSecondsArgument,
    {"template", "--template", kOption, "CMD", "command line with %script% and %params%"},
};

constexpr int64_t kLargestScript = 8 * 1024 * 1024;
constexpr int64_t kMostLines = 1'000'000;

// No reply tells a script's exit status, so a shell says it in a last line of the output.
constexpr const char* kTellingShell = R"(/bin/sh -c '"$@"; s=$?; echo; echo zemexit:$s' sh )";
constexpr std::string_view kExitMark = "zemexit:";

std::string CheckedTemplate(const Arguments& arguments, std::string_view script) {
  if (!arguments.Has("template")) return kTellingShell + TemplateFor(script);
  std::string line = arguments.Text("template");
  OvString lower(line);
  lower.LowerCase();
  if (lower.Find("%script%") == 0) throw std::invalid_argument("--template lacks %script%");
  // The agent looks for a placeholder only where more text than the placeholder is left.
  if (Trimmed(lower) == "%script%") {
    throw std::invalid_argument(
        "--template must not be %script% alone: the agent would not "
        "replace it; write \"%script% %params%\"");
  }
  return line;
}

Plan BuildScript(const Arguments& arguments) {
  Plan plan;
  const std::string script = ReadLocalFile(arguments.Text("file"), kLargestScript);
  const std::string line = CheckedTemplate(arguments, script);
  const std::string params = QuoteWords(arguments.All("params"));
  CheckCommandLine(line + ' ' + params);
  const int64_t seconds = SecondsOf(arguments);
  const int64_t lines = arguments.Int("lines", 0, 0, kMostLines);
  WarnOfEscapes(script, "the script", &plan.warnings);
  WarnOfEscapes(params, "ARG", &plan.warnings);
  RequestText request("TEST-ShellScript");
  request.Line(line, "--template")
      .EscapedLine(script)
      .EscapedLine(params)
      .Number(seconds)
      .Number(arguments.Has("template") ? lines : kMostLines);
  plan.text = request.Finish();
  plan.agent_time = TimeForLimit(seconds * 1000);
  return plan;
}

constexpr std::string_view kResultMark = "scriptres:";

// The script's result and the lines of its output as the agent tells them; cuts off what the shell
// around it said, its exit status.
std::optional<int64_t> TakeExitCode(std::string* result, std::vector<std::string_view>* lines) {
  if (lines->empty() || !lines->back().starts_with(kExitMark)) return std::nullopt;
  const std::optional<int64_t> code = ParseWhole(lines->back().substr(kExitMark.size()));
  lines->pop_back();
  if (result->starts_with(kExitMark)) *result = lines->empty() ? "" : lines->back();
  return code;
}

Value ParseScript(const Answer& answer) {
  std::string line = UnescapedLine(answer.reply, 1);
  const std::string returned = UnescapedLine(answer.reply, 2);
  std::vector<std::string_view> lines;
  std::string_view rest = returned;
  for (std::string_view each; TakePiece(&rest, "\r\n", &each);) lines.push_back(each);
  const std::optional<int64_t> exit_code = TakeExitCode(&line, &lines);
  const bool marked = EqualsIgnoringCase(line.substr(0, kResultMark.size()), kResultMark);
  const std::string_view text =
      Trimmed(std::string_view(line).substr(marked ? kResultMark.size() : 0));
  List wanted;
  const auto most = static_cast<size_t>(answer.arguments.Int("lines", 0, 0, kMostLines));
  for (size_t i = 0; i < std::min(most, lines.size()); ++i) {
    wanted.push_back(lines[i]);
  }
  return Record{
      {"result", text}, {"marked", marked}, {"exit_code", exit_code}, {"lines", std::move(wanted)}};
}

// Without thresholds the script is taken for a plugin, as a program is; but what has neither a
// number nor a mark is no result, it may be the complaint of a shell.
State StateOfScript(const Value& result, const Verdict& verdict, const Thresholds& thresholds) {
  if (thresholds.Given()) {
    return verdict.metrics.empty() ? State::kUnknown
                                   : thresholds.Judge(verdict.metrics.front().value);
  }
  if (verdict.metrics.empty() && !*result["marked"].As<bool>()) return State::kUnknown;
  const int64_t* exit_code = result["exit_code"].As<int64_t>();
  if (exit_code == nullptr) return State::kOk;
  return ParseState(std::to_string(*exit_code)).value_or(State::kUnknown);
}

// A result may begin with a number and bring figures of its own; the first of all is judged.
Verdict CheckScript(const Answer& /*answer*/, const Value& result, const Thresholds& thresholds) {
  const std::string_view whole = *result["result"].As<std::string>();
  const size_t bar = std::min(whole.find('|'), whole.size());
  const std::string_view text = Trimmed(whole.substr(0, bar));
  Verdict verdict;
  verdict.metrics = ReadPerformanceData(whole.substr(std::min(bar + 1, whole.size())));
  const std::string_view word = text.substr(0, text.find_first_of(" \t;,"));
  Metric front = {"result", 0, "", {}, {}, {}};
  if (ReadFigure(word, &front)) verdict.metrics.insert(verdict.metrics.begin(), front);
  verdict.state = StateOfScript(result, verdict, thresholds);
  if (thresholds.Given() && !verdict.metrics.empty()) {
    verdict.metrics.front().thresholds = thresholds;
    verdict.metrics.front().written.clear();
  }
  if (verdict.metrics.empty() && thresholds.Given()) {
    verdict.text = "no number: ";
  } else if (verdict.metrics.empty() && !*result["marked"].As<bool>()) {
    verdict.text = "no number and no \"scriptres:\": ";
  }
  verdict.text += text.empty() && !verdict.text.empty() ? "no output" : text;
  const double exit_code = result["exit_code"].AsNumber();
  if (exit_code != 0) verdict.text += fmt::format(" (exit status {:.0f})", exit_code);
  return verdict;
}

constexpr Command kRunRows[] = {
    {
        .name = "run",
        .summary = "run a program on the agent's host, as a check",
        .switch_keys = "external=1",
        .arguments = kRunArguments,
        .subject = "{words}",
        .build = BuildRun,
        .parse = ParseRun,
        .summarise = SummariseRun,
        .check = CheckRun,
        .notes =
            "Options of zemctl stand in front of CMD. No shell is involved; the program's output\n"
            "goes nowhere. As a check: the exit code is the state, unless -w or -c judge it.",
    },
    {
        .name = "script",
        .summary = "send a script to the agent and run it there",
        .switch_keys = "shellscript=1",
        .arguments = kScriptArguments,
        .subject = "{file}",
        .build = BuildScript,
        .parse = ParseScript,
        .summarise = Says<"{result}">,
        .check = CheckScript,
        .notes =
            "The result is the first line that begins with \"scriptres:\", or the last line that\n"
            "is not empty. As a check: -w and -c apply to the number at its front, or to the "
            "first\n"
            "figure behind its \"|\"; without them the exit status is the state.",
    },
};

constexpr Command kExecRows[] = {
    {
        .name = "exec",
        .summary = "run a program on the agent's host, as an action",
        .switch_keys = "executeaction=1",
        .arguments = kExecArguments,
        .build = BuildExec,
        .parse = ParseRun,
        .summarise = SummariseRun,
        .notes =
            "Options of zemctl stand in front of CMD. No shell is involved. A DIR that does not\n"
            "exist is not reported: the program then runs in the agent's own folder.",
    },
};

}  // namespace

std::string TemplateFor(std::string_view script) {
  constexpr const char* kPlain = "/bin/sh %script% %params%";
  if (!script.starts_with("#!")) return kPlain;
  const size_t end = std::min(script.find('\n'), script.size());
  const std::string interpreter(Trimmed(script.substr(2, end - 2)));
  const bool simple = interpreter.starts_with('/') &&
                      interpreter.find_first_of("\"'\t%") == std::string::npos &&
                      std::count(interpreter.begin(), interpreter.end(), ' ') <= 1;
  // What cannot be said in words the system itself has to read, from the file.
  return simple ? interpreter + " %script% %params%" : "%script% %params%";
}

const std::span<const Command> kRunCommands = kRunRows;
const std::span<const Command> kExecCommands = kExecRows;

}  // namespace zem::client
