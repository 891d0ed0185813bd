// SPDX-License-Identifier: BSD-2-Clause
// A shell text that runs on the agent's host and brings home everything it said, byte for byte.
//
// The agent's own way with a script's output drops blanks and empty lines and cuts long ones, so
// the output travels as hexadecimal digits, and what went to standard error and the exit code
// beside it. The text runs under any POSIX shell that has od and tr.
//
// Shapes:  words hold any bytes but zero.
// Errors:  BadReply for an answer that is none of such a text.
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_COMMANDS_SENT_SHELL_H_
#define ZEM_CLIENT_COMMANDS_SENT_SHELL_H_

#include <string>
#include <string_view>
#include <vector>

#include "commands/command.h"

namespace zem::client {

// How to give the whole seconds that the agent lets it run.
inline constexpr Argument kSecondsArgument = {"limit", "--limit", kOption, "SEC",
                                              "whole seconds until it is killed (10); 0 = never"};
int64_t SecondsOf(const Arguments& arguments, int64_t otherwise = 10);
// How long to wait for an agent that may take so many milliseconds; 0 = without limit.
Milliseconds TimeForLimit(int64_t limit);

// One word of a shell, safe on the way too: the agent turns some texts into line breaks.
std::string ShellWord(std::string_view word);

// The request: commands in a subshell, with these positional parameters.
Plan SentShell(std::string_view commands, const std::vector<std::string>& words, int64_t seconds);

struct ShellSaid {
  int exit_code = 0;
  std::string output;
  std::string errors;  // the beginning of it
};

ShellSaid ReadSentShell(const Reply& reply);
// Why the agent could not run it; empty when it has said so itself.
std::string ExplainKill(const Reply& reply);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_SENT_SHELL_H_
