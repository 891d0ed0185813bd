// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/format.h>

#include "commands/table.h"
#include "model/local_file.h"
#include "wire/exchange.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

constexpr Argument kArguments[] = {
    {"file", "file,--file", kRequired, "FILE", "the new program, a file here", kLocalFile},
    {"wait", "--wait", kFlag, "", "until the new program answers"},
    {"force", "--force", kFlag, "", "send a file that does not look like a program"},
};

bool LooksLikeProgram(std::string_view bytes) {
  return bytes.starts_with("\177ELF") || bytes.starts_with("#!");
}

Plan BuildUpgrade(const Arguments& arguments) {
  constexpr Milliseconds kTransfer{120'000};
  const std::string path = arguments.Text("file");
  Plan plan;
  plan.payload = ReadLocalFile(path, static_cast<int64_t>(kProgramTooLarge - 1));
  if (plan.payload.size() <= kProgramTooSmall) {
    throw std::invalid_argument(
        fmt::format("{} has {} bytes; an agent takes no program of {} or less", path,
                    plan.payload.size(), kProgramTooSmall));
  }
  if (!arguments.Has("force") && !LooksLikeProgram(plan.payload)) {
    throw std::invalid_argument(path +
                                " does not look like a program (--force sends it all the same)");
  }
  RequestText request("UpgradeCode");
  request.Number(static_cast<long long>(plan.payload.size()));
  plan.text = request.Finish();
  plan.agent_time = kTransfer;
  plan.wait_for_return = arguments.Has("wait");
  return plan;
}

Exchange AskUpgrade(const Endpoint& endpoint, const Plan& plan, std::string_view password,
                    const Deadline& deadline) {
  Exchange exchange =
      TransferUpgrade({endpoint, plan.text, password, deadline}, plan.payload, plan.progress);
  const bool taken = !exchange.failure && ParseReply(exchange.reply).IsDone();
  if (taken && plan.wait_for_return) WaitForReturn(endpoint, password, deadline, &exchange);
  return exchange;
}

Value ParseUpgrade(const Answer& answer) {
  Record record{{"file", answer.arguments.Text("file")}, {"accepted", true}};
  if (!answer.exchange.note.empty()) record.emplace_back("note", answer.exchange.note);
  return record;
}

std::string SummariseUpgrade(const Answer& answer, const Value& /*result*/) {
  const std::string& note = answer.exchange.note;
  return "the agent has taken the program" + (note.empty() ? "" : "; " + note);
}

constexpr Command kRows[] = {
    {
        .name = "upgrade",
        .summary = "replace the agent's program and restart it",
        .switch_keys = "allowupdates=1, and this address in updateaddr",
        .arguments = kArguments,
        .build = BuildUpgrade,
        .parse = ParseUpgrade,
        .summarise = SummariseUpgrade,
        .ask = AskUpgrade,
        .notes = "The program travels in the clear, more than 100 bytes and less than 10 MiB; its\n"
                 "digest travels enciphered. The agent swaps its program and starts anew.",
    },
};

}  // namespace

const std::span<const Command> kUpgradeCommands = kRows;

}  // namespace zem::client
