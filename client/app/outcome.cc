// SPDX-License-Identifier: BSD-2-Clause
#include "app/outcome.h"

#include "app/refusal.h"

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
