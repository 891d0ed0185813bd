// SPDX-License-Identifier: BSD-2-Clause
#include <thread>

#include <fmt/format.h>

#include "commands/forms.h"
#include "commands/table.h"

namespace zem::client {

namespace {

constexpr Milliseconds kPatience{60'000};

constexpr Argument kRestartArguments[] = {
    {"wait", "--wait", kFlag, "", "until the agent answers again"},
};

Plan BuildRestart(const Arguments& arguments) {
  Plan plan = PlanFor("ReloadApp", arguments);
  plan.wait_for_return = arguments.Has("wait");
  if (plan.wait_for_return) plan.agent_time = kPatience;
  return plan;
}

Exchange AskRestart(const Endpoint& endpoint, const Plan& plan, std::string_view password,
                    const Deadline& deadline) {
  Exchange exchange = Ask(endpoint, plan.text, password, deadline);
  const bool agreed = !exchange.failure && ParseReply(exchange.reply).IsDone();
  if (agreed && plan.wait_for_return) WaitForReturn(endpoint, password, deadline, &exchange);
  return exchange;
}

constexpr Command kRows[] = {
    {
        .name = "reload",
        .summary = "read the agent's configuration file again",
        .switch_keys = kManagement,
        .build = Request<"ReloadCfg">,
        .notes = "The port stays as it is.",
    },
    {
        .name = "restart",
        .summary = "let the agent execute itself again",
        .switch_keys = kManagement,
        .arguments = kRestartArguments,
        .build = BuildRestart,
        .ask = AskRestart,
    },
    {
        .name = "quit",
        .summary = "end the agent",
        .switch_keys = kManagement,
        .build = Request<"QUIT">,
        .notes = "Nothing on the wire starts it again.",
    },
};

}  // namespace

void WaitForReturn(const Endpoint& endpoint, std::string_view password, const Deadline& deadline,
                   Exchange* exchange) {
  // The agent acts within a second of its "Ok", once the connection is closed.
  constexpr Milliseconds kGoing{1500};
  constexpr Milliseconds kPause{250};
  constexpr Milliseconds kOneTry{2000};
  const Clock::time_point start = Clock::now();
  std::this_thread::sleep_for(std::min(kGoing, deadline.Left()));
  const std::string request = PlanFor("GetInfo", {}).text;
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

const std::span<const Command> kControlCommands = kRows;

}  // namespace zem::client
