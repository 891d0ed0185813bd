// SPDX-License-Identifier: BSD-2-Clause
#include <thread>

#include <fmt/format.h>

#include "commands/table.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

constexpr const char* kManagement = "allowmanage=1, and this address in manageaddr";
constexpr Milliseconds kPatience{60'000};

constexpr Argument kRestartArguments[] = {
    {"wait", "--wait", ArgumentKind::kFlag, "", "until the agent answers again"},
};

Plan BuildReload(const Arguments& /*arguments*/) {
  return PlanOf(RequestText("ReloadCfg").Finish());
}

Plan BuildRestart(const Arguments& arguments) {
  Plan plan = PlanOf(RequestText("ReloadApp").Finish());
  plan.wait_for_return = arguments.Has("wait");
  if (plan.wait_for_return) plan.agent_time = kPatience;
  return plan;
}

Plan BuildQuit(const Arguments& /*arguments*/) {
  return PlanOf(RequestText("QUIT").Finish());
}

Exchange AskRestart(const Endpoint& endpoint, const Plan& plan, std::string_view password,
                    const Deadline& deadline) {
  Exchange exchange = Ask(endpoint, plan.text, password, deadline);
  const bool agreed = !exchange.failure && ParseReply(exchange.reply).IsDone();
  if (agreed && plan.wait_for_return) WaitForReturn(endpoint, password, deadline, &exchange);
  return exchange;
}

Value ParseOk(const Answer& answer) {
  Record record{{"message", Value::Text(answer.reply.Line(1))}};
  if (!answer.exchange.note.empty()) record.emplace_back("note", Value::Text(answer.exchange.note));
  return Value::Of(std::move(record));
}

std::string SummariseOk(const Answer& answer, const Value& /*result*/) {
  return answer.exchange.note.empty() ? answer.reply.Message() : answer.exchange.note;
}

}  // namespace

void WaitForReturn(const Endpoint& endpoint, std::string_view password, const Deadline& deadline,
                   Exchange* exchange) {
  // The agent acts within a second of its "Ok", once the connection is closed.
  constexpr Milliseconds kGoing{1500};
  constexpr Milliseconds kPause{250};
  constexpr Milliseconds kOneTry{2000};
  const Clock::time_point start = Clock::now();
  std::this_thread::sleep_for(std::min(kGoing, deadline.Left()));
  const std::string request = RequestText("GetInfo").Finish();
  while (!deadline.HasPassed()) {
    const Exchange again = Ask(endpoint, request, password, deadline.Within(kOneTry));
    if (!again.failure) {
      const Reply reply = ParseReply(again.reply);
      const std::chrono::duration<double> away = Clock::now() - start;
      exchange->note = fmt::format("version {} answers after {:.1f} s",
                                   NamedLine(reply, "AgentVersion").value_or("?"), away.count());
      return;
    }
    std::this_thread::sleep_for(std::min(kPause, deadline.Left()));
  }
  exchange->failure = {FailureKind::kTimeout, "the agent agreed to go, and does not answer again",
                       "look at its log and its console"};
}

const Command kReloadCommand = {
    .name = "reload",
    .summary = "read the agent's configuration file again",
    .switch_keys = kManagement,
    .arguments = {},
    .build = BuildReload,
    .parse = ParseOk,
    .summarise = SummariseOk,
    .notes = "The port stays as it is.",
};

const Command kRestartCommand = {
    .name = "restart",
    .summary = "let the agent execute itself again",
    .switch_keys = kManagement,
    .arguments = kRestartArguments,
    .build = BuildRestart,
    .parse = ParseOk,
    .summarise = SummariseOk,
    .ask = AskRestart,
};

const Command kQuitCommand = {
    .name = "quit",
    .summary = "end the agent",
    .switch_keys = kManagement,
    .arguments = {},
    .build = BuildQuit,
    .parse = ParseOk,
    .summarise = SummariseOk,
    .notes = "Nothing on the wire starts it again.",
};

}  // namespace zem::client
