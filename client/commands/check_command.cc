// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include <fmt/format.h>

#include "commands/ready_check.h"
#include "commands/sent_shell.h"
#include "commands/table.h"
#include "model/kept_text.h"
#include "protocol/escape.h"

namespace zem::client {

namespace {

constexpr Argument kCheckArguments[] = {
    {"name", "name,--name", ArgumentKind::kOptional, "NAME", "the check, see --list", kReadyChecks},
    {"words", "words", ArgumentKind::kAny, "ARG", "what it is to look at"},
    {"list", "--list", ArgumentKind::kFlag, "", "tell the checks there are, and ask nobody"},
    {"from", "--from", ArgumentKind::kOption, "DIR", "folder of the checks (" ZEM_CHECKS_DIR ")",
     kLocalFile},
    {"state", "--state", ArgumentKind::kOption, "DIR",
     "where is kept how far a log was read (~/.local/state/zem)", kLocalFile},
    {"limit", "--limit", ArgumentKind::kOption, "SEC",
     "whole seconds until it is killed (30); 0 = never"},
};

// A package manager on a busy host takes its time.
constexpr int64_t kSeconds = 30;

// Positions in two files; an agent must not fill the disk of this host.
constexpr size_t kMostKept = 1024;

// Stands for what was kept of the host, until it is known which one it is. It is the first word,
// so the first place where the request holds this is the right one.
constexpr const char* kKeptWord = "'@kept@'";

std::string FolderOf(const Arguments& arguments) {
  return arguments.Text("from", ZEM_CHECKS_DIR);
}

std::string ListChecks(const Arguments& arguments) {
  if (!arguments.Has("list")) return "";
  std::string lines;
  for (const std::string& name : CheckNames(FolderOf(arguments))) {
    const ReadyCheck check = LoadCheck(FolderOf(arguments), name);
    lines += check.title;
    if (!check.warning.empty()) lines += " -w " + check.warning;
    if (!check.critical.empty()) lines += " -c " + check.critical;
    lines += '\n';
  }
  return lines;
}

// Each of -w and -c takes the place of the check's own.
Thresholds CheckThresholds(const Arguments& arguments, const std::string& warning,
                           const std::string& critical) {
  if (arguments.Has("list")) return {};
  const ReadyCheck check = LoadCheck(FolderOf(arguments), arguments.Text("name"));
  const auto range = [&check](const std::string& given, const std::string& own) {
    const std::string& text = given.empty() ? own : given;
    return text.empty() ? std::nullopt : std::optional<Range>(check.range(text));
  };
  return {range(warning, check.warning), range(critical, check.critical)};
}

Plan BuildCheck(const Arguments& arguments) {
  const std::string name = arguments.Text("name");
  const ReadyCheck check = LoadCheck(FolderOf(arguments), name);
  std::vector<std::string> words = {"@kept@"};
  std::string key = name;
  for (const std::string& word : arguments.All("words")) {
    // "load 5 10" would be judged by the check's own thresholds, and look like a check by these.
    if (check.title.starts_with(name + ':')) {
      throw std::invalid_argument(fmt::format("{} takes no \"{}\": see --list", name, word));
    }
    words.push_back(word);
    key += ' ' + ShellWord(word);
  }
  Plan plan = SentShell(check.text, words, SecondsOf(arguments, kSeconds));
  plan.kept_in = arguments.Text("state", KeptFolder());
  plan.kept_as = std::string(EscapeLineBreaks(key).View());
  return plan;
}

Value ParseOutput(const Reply& reply, std::string* kept) {
  const ShellSaid said = ReadSentShell(reply);
  if (said.exit_code != 0 || said.output.empty()) {
    throw BadReply(
        fmt::format("the check broke off (exit code {}): {}", said.exit_code, said.errors));
  }
  return ReadFigures(said.output, said.errors, kept);
}

// Sends what was kept of this host with the request, and keeps what the answer says before anybody
// sees it: lines of a log are told once.
Exchange AskCheck(const Endpoint& endpoint, const Plan& plan, std::string_view password,
                  const Deadline& deadline) {
  const std::string key = Display(endpoint) + ' ' + plan.kept_as;
  UniqueFd hold;  // until the fresh one is written
  const std::string kept =
      plan.kept_in.empty() ? "" : ReadKept(plan.kept_in, key, deadline.Left(), &hold);
  std::string request = plan.text;
  request.replace(request.find(kKeptWord), strlen(kKeptWord),
                  EscapeLineBreaks(ShellWord(kept)).View());
  Exchange exchange = Ask(endpoint, request, password, deadline);
  if (exchange.failure) return exchange;
  const Reply reply = ParseReply(exchange.reply);
  std::string fresh;
  if (reply.IsDone()) (void)ParseOutput(reply, &fresh);
  if (fresh.empty()) return exchange;
  if (fresh.size() > kMostKept) throw BadReply("the check wants too much to be kept");
  if (plan.kept_in.empty())
    throw std::runtime_error("no place to keep how far the log was read: use --state DIR");
  WriteKept(plan.kept_in, key, fresh);
  return exchange;
}

Value ParseCheck(const Answer& answer) {
  std::string kept;
  return ParseOutput(answer.reply, &kept);
}

std::string SummariseCheck(const Answer& /*answer*/, const Value& result) {
  return *result["text"].As<std::string>();
}

Verdict CheckCheck(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  Verdict verdict = JudgeFigures(result, thresholds);
  verdict.name = answer.arguments.Text("name");
  return verdict;
}

constexpr Command kRows[] = {
    {
        .name = "check",
        .summary = "look at the agent's host: load, memory, clock, logs and more, see --list",
        .switch_keys = "shellscript=1",
        .arguments = kCheckArguments,
        .subject = "{name}",
        .build = BuildCheck,
        .parse = ParseCheck,
        .summarise = SummariseCheck,
        .check = CheckCheck,
        .thresholds = CheckThresholds,
        .ask = AskCheck,
        .explain = ExplainKill,
        .answer_here = ListChecks,
        .always_check = true,
        .notes = "The check is sent to the agent as a script; this side judges its figures. Where "
                 "-w or\n"
                 "-c is not given the check's own counts; -c ~: never alerts.",
    },
};

}  // namespace

const std::span<const Command> kCheckCommands = kRows;

}  // namespace zem::client
