// SPDX-License-Identifier: BSD-2-Clause
#include "app/outcome.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace zem::client {

namespace {

constexpr Milliseconds kDefaultTime{15'000};  // above what the agent's own CPU check may take
constexpr Milliseconds kSpareTime{5'000};     // on top of a time-out inside the request

int ExitFor(const Failure& failure) {
  // In the order of the kinds.
  static constexpr int kCodes[] = {
      kExitDone,   kExitNoConnection, kExitNoConnection, kExitNoConnection, kExitNoConnection,
      kExitClosed, kExitClosed,       kExitBadRequest,   kExitUsage,        kExitFailed};
  return kCodes[static_cast<size_t>(failure.kind)];
}

int ExitFor(const Reply& reply) {
  switch (reply.status.value_or(0)) {
    case kStatusDone:
      return kExitDone;
    case kStatusFailed:
    case kStatusUnavailable:
    case kStatusUpgradeBusy:
      return kExitFailed;
    case kStatusNotAllowed:
      return kExitRefused;
    default:
      return kExitBadRequest;
  }
}

// A connection that fails is CRITICAL unless the person says otherwise; what this side or the
// reply's reader got wrong is UNKNOWN.
State StateFor(const Failure& failure, const Options& options) {
  switch (failure.kind) {
    case FailureKind::kUnreadable:
    case FailureKind::kLocal:
    case FailureKind::kNoAnswer:
      return State::kUnknown;
    case FailureKind::kTimeout:
      if (options.timeout_state) return *options.timeout_state;
      break;
    default:
      break;
  }
  return options.unreachable_is_unknown ? State::kUnknown : State::kCritical;
}

// What may stand in front of them.
constexpr std::pair<std::string_view, std::string_view> kFronts[] = {
    {"Script execution error: ", ""}, {"exec error: ", "cannot be run: "}};

// The agent's words, and the system's that it hands on.
constexpr std::pair<std::string_view, std::string_view> kMeanings[] = {
    {"I/O Error", "not readable for the agent's user"},
    {"Cannot open file", "not readable for the agent's user"},
    {"Permission denied", "closed to the agent's user"},
    {"No such file or directory", "no such file"},
    {"no such file or acess denied", "no such file, or closed to the agent's user"},
    {"File doesn`t exist", "no such regular file, or closed to the agent's user"},
    {"Folder/File doesn`t exist or access denied", "no such folder, or closed to the agent's user"},
    {"Folder doesn`t exist or access denied", "no such folder, or closed to the agent's user"},
    {"The size of the second file cannot exceed 8Mb",
     "the second file is larger than 8 MiB, too much to look for"},
    {"Script error", "the agent's script printed no number"},
    {"abnormal termination", "ended by a signal, or at its time limit"},
    {"exec error", "cannot be run"},
    {"Cannot resolve server name to IP address", "the agent's host cannot resolve the name"},
};

std::string Meaning(std::string_view text) {
  for (const auto& [front, meaning] : kFronts) {
    if (text.starts_with(front)) return std::string(meaning) + Meaning(text.substr(front.size()));
  }
  const auto* found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                   [text](const auto& each) { return each.first == text; });
  return std::string(found == std::end(kMeanings) ? text : found->second);
}

// What a check was asked about, such as "web1:25"; may be empty.
std::string SubjectOf(const Command& command, const Arguments& arguments) {
  std::string_view form = command.subject;
  std::string subject;
  for (size_t open = 0; (open = form.find('{')) != std::string_view::npos;) {
    const size_t end = form.find('}', open);
    subject.append(form.substr(0, open));
    subject.append(arguments.Text(form.substr(open + 1, end - open - 1)));
    form.remove_prefix(end + 1);
  }
  return subject.append(form);
}

// The status and the agent's words.
std::string RefusalText(const Reply& reply) {
  const std::string message = reply.Message();
  if (!reply.status) return message.empty() ? "an empty reply" : message;
  return fmt::format("{} {}", *reply.status,
                     message.empty() ? StatusMeaning(*reply.status) : message);
}

// What was asked about, and why there is no answer, in the words of this side.
std::string RefusalMeaning(const Command& command, const Arguments& arguments, const Reply& reply) {
  std::string text;
  if (command.explain != nullptr && reply.status == kStatusUnavailable) {
    text = command.explain(reply);
  }
  if (text.empty()) text = Meaning(reply.Message());
  if (text.empty()) text = reply.status ? StatusMeaning(*reply.status) : "an empty reply";
  const std::string subject = SubjectOf(command, arguments);
  return subject.empty() ? text : subject + ": " + text;
}

// Names the configuration key behind a refusal, where there is one.
std::string HintFor(const Command& command, const Reply& reply) {
  if (command.explain != nullptr && reply.status == kStatusUnavailable) {
    return command.explain(reply);
  }
  const std::string_view text = reply.Line(1);
  if (reply.status == kStatusNotAllowed && *command.switch_keys != '\0') {
    return fmt::format("switch on in the agent's configuration: {}", command.switch_keys);
  }
  if (text == "Script error") return kProcessesHint;
  static constexpr struct {
    const char* text;
    const char* key;
  } kScripts[] = {{"ProcCnt script", "proccntscript"},
                  {"ProcList script", "proclistscript"},
                  {"CPUUsage script", "cpuusagescript"}};
  for (const auto& script : kScripts) {
    if (text.starts_with(script.text)) {
      return fmt::format("set {} in the agent's configuration to the script's path", script.key);
    }
  }
  return "";
}

// Whether it says nothing of what was asked for, but of a limit of the agent.
bool IsLimitOfAgent(const Reply& reply) {
  return reply.Line(1) == kHashReadError ||
         reply.Line(1) == "The size of the second file cannot exceed 8Mb";
}

void ReadReplyText(const Options& options, Outcome* outcome) {
  const Command& command = *options.command;
  const Answer answer = {outcome->reply, options.arguments, outcome->exchange};
  if (!outcome->reply.IsDone()) {
    outcome->summary = RefusalText(outcome->reply);
    outcome->hint = HintFor(command, outcome->reply);
    const bool unavailable =
        outcome->reply.status == kStatusUnavailable && !IsLimitOfAgent(outcome->reply);
    outcome->verdict = {unavailable ? command.unavailable : State::kUnknown,
                        RefusalMeaning(command, options.arguments, outcome->reply),
                        {}};
    return;
  }
  outcome->result = command.parse(answer);
  outcome->summary = command.summarise(answer, outcome->result);
  if (options.plugin) {
    outcome->verdict = command.check(answer, outcome->result, options.thresholds);
    std::string& text = outcome->verdict.text;
    if (text.empty()) text = outcome->summary;
    // A ready check has its name in front of the line.
    const std::string subject = SubjectOf(command, options.arguments);
    if (outcome->verdict.name.empty() && text.find(subject) == std::string::npos) {
      text = subject + ": " + text;
    }
  }
}

}  // namespace

Milliseconds TimeFor(const Plan& plan, const Options& options) {
  if (options.timeout) return *options.timeout;
  return plan.agent_time ? *plan.agent_time + kSpareTime : kDefaultTime;
}

Outcome AskHost(const Target& target, const Plan& plan, const Options& options) {
  const Command& command = *options.command;
  const Deadline deadline(TimeFor(plan, options));
  Outcome outcome;
  outcome.name = target.name;
  outcome.endpoint = target.endpoint;
  outcome.request = plan.text.substr(0, plan.text.find_first_of("\r\n"));
  try {
    if (!target.error.empty()) throw std::runtime_error(target.error);
    outcome.exchange = command.ask != nullptr
                           ? command.ask(target.endpoint, plan, target.password.View(), deadline)
                           : Ask(target.endpoint, plan.text, target.password.View(), deadline);
    outcome.failure = outcome.exchange.failure;
    if (!outcome.failure) {
      if (command.mask != nullptr) command.mask(options.arguments, &outcome.exchange.reply);
      outcome.reply = ParseReply(outcome.exchange.reply);
      outcome.exit_code = ExitFor(outcome.reply);
      ReadReplyText(options, &outcome);
    }
  } catch (const NoAnswer& error) {
    outcome.failure = {FailureKind::kNoAnswer, error.what(), error.hint};
  } catch (const BadReply& error) {
    outcome.failure = {FailureKind::kUnreadable, error.what(), ""};
  } catch (const std::exception& error) {
    outcome.failure = {FailureKind::kLocal, error.what(), ""};
  }
  if (outcome.failure) {
    outcome.summary = outcome.failure.text;
    outcome.hint = outcome.failure.hint;
    outcome.exit_code = ExitFor(outcome.failure);
    outcome.verdict = {StateFor(outcome.failure, options), outcome.summary, {}};
  }
  return outcome;
}

}  // namespace zem::client
