// SPDX-License-Identifier: BSD-2-Clause
#include "commands/sent_shell.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "commands/forms.h"
#include "model/words.h"
#include "text/ovstring.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

constexpr std::string_view kResultMark = "scriptres:";

// Descriptor 4 is the agent's file, 3 collects what goes to standard error and the exit code. The
// agent gives its output file as standard input too, which nothing here is to read.
constexpr const char* kShellText = R"(set --{}
run() {{
{}
}}
exec 4>&1
said=$({{ {{ (run "$@") 3>&- 4>&- </dev/null; printf '\n%s' "$?" >&3; }} 2>&3 |
  od -An -v -tx1 | tr -d ' \n' >&4; }} 3>&1)
printf '\nscriptres:%s ' "${{said##*
}}"
printf '%s' "${{said%
*}}" | od -An -v -tx1 -N 200 | tr -d ' \n'
echo
)";

std::string Bytes(std::string_view digits) {
  std::string bytes(digits.size() / 2, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) {
    unsigned value = 0;
    const char* at = digits.data() + 2 * i;
    if (std::from_chars(at, at + 2, value, 16).ptr != at + 2) throw BadReply("not hexadecimal");
    bytes[i] = static_cast<char>(value);
  }
  return bytes;
}

bool IsHexadecimal(std::string_view text) {
  return text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

int64_t SecondsOf(const Arguments& arguments, int64_t otherwise) {
  return arguments.Int("limit", otherwise, 0, 2'000'000);
}

Milliseconds TimeForLimit(int64_t limit) {
  // The agent counts whole seconds and looks once a second.
  constexpr Milliseconds kAgentSlack{2000};
  constexpr Milliseconds kHour{3'600'000};
  if (limit == 0) return kHour;
  return Milliseconds(std::max<int64_t>(limit, 0)) + kAgentSlack;
}

std::string ShellWord(std::string_view word) {
  std::string quoted = "'";
  for (const char byte : word) {
    if (byte == '\'') {
      quoted += "'\\''";
      continue;
    }
    quoted += byte;
    // "%0A" and CR LF would arrive as something else: an empty word in between parts them.
    if (byte == '%' || byte == '\r') quoted += "''";
  }
  return quoted + '\'';
}

Plan SentShell(std::string_view commands, const std::vector<std::string>& words, int64_t seconds) {
  constexpr int kMostLines = 1'000'000;
  std::string quoted;
  for (const std::string& word : words) quoted.append(" ").append(ShellWord(word));
  RequestText request("TEST-ShellScript");
  request.Line("/bin/sh %script%", "the template")
      .EscapedLine(fmt::format(kShellText, quoted, commands))
      .Empty()
      .Number(seconds)
      .Number(kMostLines);
  return PlanOf(request.Finish(), TimeForLimit(seconds * 1000));
}

ShellSaid ReadSentShell(const Reply& reply) {
  const std::string result = UnescapedLine(reply, 1);
  const std::string returned = UnescapedLine(reply, 2);
  std::string digits;
  std::string_view rest = returned;
  for (std::string_view line; TakePiece(&rest, "\r\n", &line);) {
    if (line.starts_with(kResultMark)) continue;
    if (!IsHexadecimal(line)) throw BadReply(fmt::format("the host's shell says: {}", line));
    digits += line;
  }
  std::string_view code = result;
  std::string_view marked;
  ShellSaid said;
  if (!TakePiece(&code, kResultMark, &marked) || !marked.empty() || digits.size() % 2 != 0) {
    throw BadReply("the output of the host's shell is not whole: " + result);
  }
  std::string_view number;
  (void)TakePiece(&code, " ", &number);
  const std::optional<int64_t> exit_code = ParseWhole(number);
  if (!exit_code) throw BadReply("the host's shell tells no exit code: " + result);
  said.exit_code = static_cast<int>(*exit_code);
  said.output = Bytes(digits);
  said.errors = Trimmed(Bytes(code));
  return said;
}

std::string ExplainKill(const Reply& reply) {
  const bool killed = reply.Line(1).ends_with("abnormal termination");
  return killed ? "it ran for longer than --limit SEC allows" : "";
}

}  // namespace zem::client
