// SPDX-License-Identifier: BSD-2-Clause
// The command line, taken apart.

#ifndef ZEM_CLIENT_APP_OPTIONS_H_
#define ZEM_CLIENT_APP_OPTIONS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/arguments.h"
#include "commands/command.h"
#include "plugin/check.h"
#include "wire/deadline.h"

namespace zem::client {

enum class Output { kTable, kJson, kRaw };

// Exit codes of query mode. Plugin mode exits with a State instead.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;        // the agent reports a failure
inline constexpr int kExitUsage = 2;         // usage or local error
inline constexpr int kExitNoConnection = 3;  // cannot connect, or the time ran out
inline constexpr int kExitClosed = 4;        // closed without a whole reply
inline constexpr int kExitRefused = 5;       // switched off in the agent's configuration
inline constexpr int kExitBadRequest = 6;    // not understood, or a reply that is not understood

inline constexpr int kExitInterrupted = 130;

inline constexpr int kDefaultPort = 1055;

struct Options {
  bool plugin = false;
  // Where.
  std::vector<std::string> hosts;
  std::string hosts_file;
  std::optional<int> port;
  std::string source;
  int parallel = 16;
  int watch = 0;  // seconds; 0 = once
  // Who.
  std::string password_file;
  std::string agent_config;
  std::string hosts_conf;
  std::string shared_hosts_conf = ZEM_CONFDIR "/hosts.conf";  // behind the user's own
  bool no_password = false;
  // How long.
  std::optional<Milliseconds> timeout;
  std::optional<State> timeout_state;
  bool unreachable_is_unknown = false;
  // What is shown.
  Output output = Output::kTable;
  bool verbose = false;
  bool quiet = false;
  // What is done.
  const Command* command = nullptr;
  Arguments arguments;
  Thresholds thresholds;

  int UsageExit() const { return plugin ? static_cast<int>(State::kUnknown) : kExitUsage; }
};

// Whether a program of this name behaves as a plugin.
bool IsPluginName(std::string_view program);

// Nothing when the program is to go on; else the status to exit with (help was printed, or an
// error explained).
std::optional<int> ParseCommandLine(int argc, const char* const* argv, Options* options);

// What a shell may offer at a place of the command line, out of the same tables that parse it. The
// scripts in completions/ run "zemctl --complete" with the words typed so far, the program's name
// first and the unfinished word last. What cannot be found out is not offered.
//
// One candidate a line, a tab and its help behind it; ":files" alone asks for files of this
// machine. Hosts come from the user's own hosts.conf and the shared one.
std::string CompletionLines(const std::vector<std::string>& words,
                            const std::string& shared_hosts = Options().shared_hosts_conf);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_OPTIONS_H_
