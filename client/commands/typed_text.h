// SPDX-License-Identifier: BSD-2-Clause
// What people type, as the wire carries it: texts with line breaks, and command lines as the agent
// splits them, at blanks, quotes around a whole word, no shell.
//
// Errors:  std::invalid_argument, with a text for the person who typed it.
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_COMMANDS_TYPED_TEXT_H_
#define ZEM_CLIENT_COMMANDS_TYPED_TEXT_H_

#include <string>
#include <string_view>
#include <vector>

namespace zem::client {

// Turns \r, \n, \t, \\ and \xHH into the bytes they name.
std::string DecodeEscapes(std::string_view text);

// Warns about a text that will not arrive as it is.
void WarnOfEscapes(std::string_view text, std::string_view what,
                   std::vector<std::string>* warnings);

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

#endif  // ZEM_CLIENT_COMMANDS_TYPED_TEXT_H_
