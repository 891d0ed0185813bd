// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "commands/table.h"
#include "text/ovstring.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

constexpr Argument kArguments[] = {
    {"command", "command,--command", kRequired, "COMMAND", "the command word"},
    {"lines", "lines", kAny, "LINE", "parameter lines, in order; \"\" for an empty one"},
    {"escape", "-e,--escape", kFlag, "", "send line breaks inside a LINE escaped"},
    {"no-end-mark", "--no-end-mark", kFlag, "", "leave the end mark out"},
};

// The one line of the protocol that holds a password.
void RefusePassword(const std::string& command, const std::string& line) {
  if (command != "SetSettings" || Trimmed(line.substr(0, line.find('='))) != "Password") return;
  throw std::invalid_argument(
      "a password on the command line can be read by everybody on this machine; use settings set "
      "--new-password-file");
}

Plan BuildRaw(const Arguments& arguments) {
  RequestText request(arguments.Text("command"));
  for (const std::string& line : arguments.All("lines")) {
    RefusePassword(arguments.Text("command"), line);
    if (arguments.Has("escape")) {
      request.EscapedLine(line);
    } else {
      request.Line(line, "LINE");
    }
  }
  const bool marked = !arguments.Has("no-end-mark");
  return PlanOf(marked ? request.Finish() : request.WithoutEndMark());
}

Value ParseRaw(const Answer& answer) {
  return Record{{"lines", List(answer.reply.lines.begin(), answer.reply.lines.end())}};
}

std::string SummariseRaw(const Answer& answer, const Value& /*result*/) {
  const std::string message = answer.reply.Message();
  return message.empty() ? StatusMeaning(kStatusDone) : message;
}

constexpr Command kRows[] = {
    {
        .name = "raw",
        .summary = "send any command with its parameter lines as they are",
        .arguments = kArguments,
        .build = BuildRaw,
        .parse = ParseRaw,
        .summarise = SummariseRaw,
        .notes = "A LINE that begins with \"-\" goes behind \"--\".",
    },
};

}  // namespace

const std::span<const Command> kRawCommands = kRows;

}  // namespace zem::client
