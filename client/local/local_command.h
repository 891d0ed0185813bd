// SPDX-License-Identifier: BSD-2-Clause
// Subcommands that ask no agent.

#ifndef ZEM_CLIENT_LOCAL_LOCAL_COMMAND_H_
#define ZEM_CLIENT_LOCAL_LOCAL_COMMAND_H_

#include <span>
#include <string>
#include <vector>

#include "commands/arguments.h"
#include "model/value.h"

namespace zem::client {

struct LocalResult {
  int exit_code = 0;
  Value result;
  std::string text;  // for people
};

struct LocalCommand {
  const char* name;
  const char* summary;
  std::span<const Argument> arguments;
  LocalResult (*run)(const Arguments& arguments);
  const char* notes = "";
};

// The configuration that a command was given; std::invalid_argument when there is none.
std::string ConfigPath(const Arguments& arguments);

const std::vector<const LocalCommand*>& LocalCommandTable();

extern const LocalCommand kConfigcheckCommand;
extern const LocalCommand kScripttestCommand;
extern const LocalCommand kGenpassCommand;
extern const LocalCommand kHostsCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_LOCAL_LOCAL_COMMAND_H_
