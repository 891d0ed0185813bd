// SPDX-License-Identifier: BSD-2-Clause
// What the program knows about one subcommand: its arguments, the request they become, what the
// reply's lines mean, and how a check judges them.
//
// A command is one row of one table (see table.h); nothing else in the program names commands.
// Threads: rows are constant; the functions are pure and run on many threads at once.

#ifndef ZEM_CLIENT_COMMANDS_COMMAND_H_
#define ZEM_CLIENT_COMMANDS_COMMAND_H_

#include <string.h>
#include <strings.h>

#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "commands/arguments.h"
#include "model/value.h"
#include "plugin/check.h"
#include "wire/deadline.h"
#include "wire/exchange.h"
#include "wire/reply_text.h"

namespace zem::client {

// A request ready to be sent. Its text may carry a new password: it is wiped when the plan goes.
struct Plan {
  Plan() = default;
  Plan(Plan&&) = default;
  Plan& operator=(Plan&&) = default;
  ~Plan() { explicit_bzero(text.data(), text.size()); }

  std::string text;
  // How long the agent itself may take over it, where the request says so.
  std::optional<Milliseconds> agent_time;
  std::vector<std::string> warnings;
  std::string payload;  // the program file of an upgrade
  // Told how much of the payload has been sent; may be empty.
  std::function<void(size_t sent, size_t total)> progress;
  // Under which name, and in which folder, something is kept of each host from run to run.
  std::string kept_in;
  std::string kept_as;
  // Afterwards wait until the agent answers again.
  bool wait_for_return = false;
};

inline Plan PlanOf(std::string text, std::optional<Milliseconds> agent_time = std::nullopt) {
  Plan plan;
  plan.text = std::move(text);
  plan.agent_time = agent_time;
  return plan;
}

// An answered request, as the functions that read replies see it.
struct Answer {
  const Reply& reply;
  const Arguments& arguments;
  const Exchange& exchange;
};

// A "200" whose lines are not what the command answers with.
class BadReply : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A "200" that says nothing of what was asked for: it is as good as a refusal.
class NoAnswer : public BadReply {
 public:
  explicit NoAnswer(const std::string& text, const char* advice = "")
      : BadReply(text), hint(advice) {}
  const char* const hint;
};

// The refusal of a hash that the agent's way of reading causes, whatever the file.
inline constexpr std::string_view kHashReadError = "Read error";

// What to look at where the agent cannot count or list processes.
inline constexpr const char* kProcessesHint =
    "is the agent's tmpdir full, or are processes hidden from its user? zemctl scripttest tells";

// Of the commands that only do something: what the agent says, or what was noted on the way.
Value ParseMessage(const Answer& answer);
std::string SummariseMessage(const Answer& answer, const Value& result);

// The verdict's text may stay empty: the answer in one line says enough.
using CheckFunction = Verdict (*)(const Answer& answer, const Value& result,
                                  const Thresholds& thresholds);

// What a subcommand that asks no agent has done.
struct LocalResult {
  int exit_code = 0;
  Value result;
  std::string text;  // for people
};

struct Command {
  const char* name;     // as typed; two words for a command of a group
  const char* summary;  // one line of help
  // The configuration keys that have to be on, for the help and the hint at a refusal; empty =
  // none.
  const char* switch_keys = "";
  std::span<const Argument> arguments = {};
  // What the text of a check names: arguments in braces, "{host}:{port}".
  const char* subject = "";
  // In place of all that follows: asks no agent.
  LocalResult (*run)(const Arguments& arguments) = nullptr;
  Plan (*build)(const Arguments& arguments) = nullptr;
  // Reads a "200".
  Value (*parse)(const Answer& answer) = ParseMessage;
  // The answer in one line, for many hosts side by side and for checks.
  std::string (*summarise)(const Answer& answer, const Value& result) = SummariseMessage;
  // Null = no check.
  CheckFunction check = nullptr;
  // Reads -w and -c; null = they have nothing to apply to.
  RangeParser range = PlainRange;
  // Reads them its own way, where it has some of its own or the unit depends on the arguments.
  Thresholds (*thresholds)(const Arguments& arguments, const std::string& warning,
                           const std::string& critical) = nullptr;
  // What a "301" means to a check.
  State unavailable = State::kUnknown;
  // Null = one request, one reply.
  Exchange (*ask)(const Endpoint& endpoint, const Plan& plan, std::string_view password,
                  const Deadline& deadline) = nullptr;
  // What a refusal means beside what it says; null = nothing more.
  std::string (*explain)(const Reply& reply) = nullptr;
  // Rewrites reply text before anybody sees it; null = nothing to hide.
  void (*mask)(const Arguments& arguments, std::string* reply) = nullptr;
  // What can be said without asking an agent; empty = ask.
  std::string (*answer_here)(const Arguments& arguments) = nullptr;
  // A check under the name zemctl too, unless it is asked for JSON or the raw reply.
  bool always_check = false;
  const char* notes = "";  // more lines of help
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_COMMAND_H_
