// SPDX-License-Identifier: BSD-2-Clause
// Command lines as the agent splits them: at blanks, quotes around a whole word, no shell.
//
// Errors:  std::invalid_argument, with a text for the person who typed it.
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_COMMANDS_COMMAND_LINE_H_
#define ZEM_CLIENT_COMMANDS_COMMAND_LINE_H_

#include <string>
#include <string_view>
#include <vector>

namespace zem::client {

// What the agent runs at most; it drops further words without a word.
inline constexpr size_t kMostWords = 23;
inline constexpr size_t kWordBytes = 1024;

// One word, quoted where it has to be. A word that needs both kinds of quotes cannot be said.
std::string QuoteWord(std::string_view word);

// Words side by side, each quoted where it has to be.
std::string QuoteWords(const std::vector<std::string>& words);

// One argument is a command line as it stands; several are the words of one.
std::string JoinCommandLine(const std::vector<std::string>& words);

// Refuses a command line of which the agent would drop the end.
void CheckCommandLine(std::string_view line);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_COMMAND_LINE_H_
