// SPDX-License-Identifier: BSD-2-Clause
// What a lying agent may answer each subcommand of the client: it is read or refused as a bad
// reply, nothing else, and whatever was read can be shown: JSON that is JSON, text that is safe for
// a terminal, one line for a monitoring server.
//
// An input is the name of a subcommand, behind it "+" for all its flags, a line feed, the reply.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "commands/table.h"
#include "fuzz.h"
#include "model/printable.h"
#include "output/table.h"
#include "plugin/check.h"

namespace zem::client {
namespace {

Arguments ArgumentsOf(const Command& command, bool flags) {
  Arguments arguments;
  for (const Argument& argument : command.arguments) {
    const bool is_flag = argument.kind == ArgumentKind::kFlag;
    if (is_flag && flags) arguments.Set(argument.name, {});
    if (argument.kind == ArgumentKind::kRequired) arguments.Set(argument.name, {"given"});
  }
  return arguments;
}

// Line feeds are the only control characters, and all of it is valid UTF-8.
void CheckSafe(const std::string& text) {
  FUZZ_CHECK(PrintableLines(text) == text);
}

void Show(const Command& command, const Answer& answer, const Value& result) {
  FUZZ_CHECK(nlohmann::json::accept(ToJson(result)));
  CheckSafe(ReadableResult(result, Style(false)));
  CheckSafe(Printable(command.summarise(answer, result)));
  if (command.check == nullptr) return;
  const Thresholds thresholds = {.warning = PlainRange("10"), .critical = PlainRange("20:90")};
  const Verdict verdict = command.check(answer, result, thresholds);
  const std::string line = PluginLine(command.name, verdict);
  CheckSafe(line);
  FUZZ_CHECK(line.find('\n') == line.npos);
  FUZZ_CHECK(std::count(line.begin(), line.end(), '|') == (verdict.metrics.empty() ? 0 : 1));
}

void Read(const Command& command, bool flags, std::string text) {
  const Arguments arguments = ArgumentsOf(command, flags);
  const Exchange exchange;
  if (command.mask != nullptr) command.mask(arguments, &text);
  const Reply reply = ParseReply(text);
  if (!reply.IsDone()) {
    if (command.explain != nullptr) (void)command.explain(reply);
    return;
  }
  const Answer answer = {reply, arguments, exchange};
  Value result;
  try {
    result = command.parse(answer);
  } catch (const BadReply& refused) {
    FUZZ_CHECK(*refused.what() != '\0');
    return;
  }
  Show(command, answer, result);
}

}  // namespace
}  // namespace zem::client

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input = zem::Text(data, size);
  const size_t end = std::min(input.find('\n'), size);
  std::string_view name = input.substr(0, end);
  const bool flags = name.ends_with('+');
  if (flags) name.remove_suffix(1);
  const auto& table = zem::client::CommandTable();
  const auto command = std::find_if(table.begin(), table.end(),
                                    [name](const auto* row) { return row->name == name; });
  if (command == table.end()) return -1;  // nothing to learn from it
  zem::client::Read(**command, flags, std::string(input.substr(std::min(end + 1, size))));
  return 0;
}
