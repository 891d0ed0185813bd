// SPDX-License-Identifier: BSD-2-Clause
// The words of a command line, made ready for the parser, and those it did not understand.
//
// Where a command to be started begins, and behind "--", words are values whatever they look like.

#ifndef ZEM_CLIENT_APP_TYPED_WORDS_H_
#define ZEM_CLIENT_APP_TYPED_WORDS_H_

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "commands/command.h"

namespace zem::client {

// In front of an argument this byte makes the parser take it for a plain value: without it the
// parser would split "[a,b]" in two, and look for options behind "--" in some cases.
inline constexpr char kGuard = '\x01';

std::vector<std::string> Unguarded(std::vector<std::string> values);

// A subcommand's arguments, as the parser holds them.
struct BoundArgument {
  const Argument* argument;
  CLI::Option* option;
};

struct Bound {
  const Command* command = nullptr;
  CLI::App* app = nullptr;
  std::vector<BoundArgument> arguments;
};

struct Typed {
  std::vector<std::string> arguments;  // as the parser wants them: last one first
  const Bound* command = nullptr;      // the first subcommand that is named
  std::string left_over;               // an option that went to the command that is to be started
};

Typed TakeTyped(int argc, const char* const* argv, const CLI::App& root,
                const std::vector<Bound>& subcommands);

// A password in the argument list can be read by everybody on the machine: std::invalid_argument.
// Guarded arguments are data, and no options.
void RefusePasswordOption(const std::vector<std::string>& arguments);

// What a refused command line is told: the word that was not understood, and the one it may have
// been meant to be. Empty where every word was understood.
std::string UnknownWordText(const CLI::App& root);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_TYPED_WORDS_H_
