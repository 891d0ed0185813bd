// SPDX-License-Identifier: BSD-2-Clause
#include "app/options.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <variant>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "app/global_arguments.h"
#include "commands/table.h"
#include "model/decimal.h"
#include "model/pieces.h"
#include "model/printable.h"
#include "text/path.h"

namespace zem::client {

namespace {

// In front of an argument this byte makes the parser take it for a plain value: without it the
// parser would split "[a,b]" in two, and look for options behind "--" in some cases.
constexpr char kGuard = '\x01';

bool NeedsGuard(std::string_view argument) {
  if (argument.empty()) return false;
  return argument.front() == kGuard || (argument.front() == '[' && argument.back() == ']');
}

std::vector<std::string> Unguarded(std::vector<std::string> values) {
  for (std::string& value : values) {
    if (!value.empty() && value.front() == kGuard) value.erase(0, 1);
  }
  return values;
}

// A subcommand's arguments, as the parser holds them.
struct BoundArgument {
  const Argument* argument;
  CLI::Option* option;
};

struct Bound {
  const Command* command = nullptr;
  const LocalCommand* local = nullptr;
  CLI::App* app = nullptr;
  std::vector<BoundArgument> arguments;
};

// Whether the value of an option is the argument behind it: "-p 5" and "-qp 5", not "-p5".
bool TakesNext(const CLI::App& root, const CLI::App& command, std::string_view argument) {
  const auto wants_value = [&](const std::string& name) {
    const CLI::Option* option = command.get_option_no_throw(name);
    if (option == nullptr) option = root.get_option_no_throw(name);
    return option != nullptr && option->get_items_expected_max() > 0;
  };
  if (argument.starts_with("--")) return wants_value(std::string(argument));
  for (size_t i = 1; i < argument.size(); ++i) {
    if (wants_value({'-', argument[i]})) return i + 1 == argument.size();
  }
  return false;
}

// "run", "exec" and "plugin": behind the first word everything belongs to the command they start.
// An option of the command that has the name of one of ours would change what is run without a
// word.
bool EndsInCommandLine(const Bound& bound) {
  return std::any_of(bound.arguments.begin(), bound.arguments.end(),
                     [](const BoundArgument& each) { return each.argument->kind == kMany; });
}

// The arguments as the parser wants them: last one first.
std::vector<std::string> GuardedArguments(int argc, const char* const* argv, const CLI::App& root,
                                          const std::vector<Bound>& subcommands) {
  std::vector<std::string> arguments;
  const Bound* command = nullptr;
  bool values_alone = false;
  bool is_value = false;  // of the option in front of it
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const bool is_option = !values_alone && !is_value && argument.size() > 1 && argument[0] == '-';
    if (is_option && argument == "--") {
      values_alone = true;
      continue;
    }
    if (is_option) {
      is_value = TakesNext(root, command == nullptr ? root : *command->app, argument);
    } else if (is_value) {
      is_value = false;
    } else if (command == nullptr) {
      for (const Bound& bound : subcommands) {
        if (bound.app->get_name() == argument) command = &bound;
      }
    } else if (EndsInCommandLine(*command)) {
      values_alone = true;
    }
    arguments.push_back(values_alone || NeedsGuard(argument) ? kGuard + argument : argument);
  }
  std::reverse(arguments.begin(), arguments.end());
  return arguments;
}

// What the global options are read into before they are checked.
struct Texts {
  std::string hosts;
  std::string port;
  std::string timeout;
  std::string output = "table";
  std::string parallel;
  std::string warning;
  std::string critical;
};

constexpr const char* kDescription =
    "Asks zem agents: checks, actions, lists, settings, and the agent itself.\n"
    "The password comes from --password-file, --agent-config, "
    "$CREDENTIALS_DIRECTORY/zem-password,\n"
    "ZEM_PASSWORD, ~/.config/zem/hosts.conf or a prompt; never from the command line.";

constexpr const char* kFooter =
    "Exit codes: 0 done, 1 the agent reports a failure, 2 usage or local error, 3 no connection "
    "or\n"
    "time-out, 4 closed without a reply, 5 refused by the agent's configuration, 6 bad request or\n"
    "reply. As check_zem (or with --plugin): 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN.";

// A password in the argument list can be read by everybody on the machine. Guarded arguments are
// data, and no options.
bool ExplainPasswordOption(const std::vector<std::string>& arguments) {
  for (const std::string_view argument : arguments) {
    const std::string_view name = argument.substr(0, argument.find('='));
    if (name != "--password" && name != "--pass" && name != "--passwd" && name != "--secret" &&
        !argument.starts_with("-P")) {
      continue;
    }
    fmt::print(stderr,
               "zemctl: {} would show the password to everybody who lists processes.\n"
               "Put it in a file that only you can read and use --password-file FILE (\"-\" reads\n"
               "standard input), or set ZEM_PASSWORD, or keep it in ~/.config/zem/hosts.conf.\n",
               name.substr(0, name.starts_with("--") ? name.size() : 2));
    return true;
  }
  return false;
}

void AddGlobalOptions(CLI::App* app, Options* options, Texts* texts) {
  // In the order of the table.
  const std::variant<std::string*, bool*> targets[] = {&texts->hosts,
                                                       &options->hosts_file,
                                                       &texts->port,
                                                       &texts->timeout,
                                                       &options->source,
                                                       &texts->parallel,
                                                       &texts->output,
                                                       &options->password_file,
                                                       &options->agent_config,
                                                       &options->hosts_conf,
                                                       &options->no_password,
                                                       &options->verbose,
                                                       &options->quiet,
                                                       &options->plugin,
                                                       &texts->warning,
                                                       &texts->critical,
                                                       &options->unreachable_is_unknown};
  static_assert(std::size(targets) == std::size(kGlobalArguments));
  for (size_t i = 0; i < std::size(targets); ++i) {
    const Argument& argument = kGlobalArguments[i];
    if (bool* const* flag = std::get_if<bool*>(&targets[i])) {
      app->add_flag(argument.spelling, **flag, argument.help);
    } else {
      app->add_option(argument.spelling, *std::get<std::string*>(targets[i]), argument.help)
          ->type_name(argument.metavar);
    }
  }
  app->set_version_flag("-V,--version", "zemctl " ZEM_CLIENT_VERSION);
}

BoundArgument AddArgument(CLI::App* app, const Argument& argument) {
  // The values are taken from the option afterwards, so nothing is converted on the way.
  static const CLI::callback_t kNoConversion = [](const CLI::results_t&) { return true; };
  if (argument.kind == kFlag) {
    return {&argument, app->add_flag(argument.spelling, argument.help)};
  }
  CLI::Option* option = app->add_option(argument.spelling, kNoConversion, argument.help);
  option->type_name(argument.metavar)->type_size(1);
  switch (argument.kind) {
    case kRequired:
      option->required()->expected(1);
      break;
    case kMany:
      option->required()->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
      break;
    case kAny:
      option->expected(0, CLI::detail::expected_max_vector_size)->allow_extra_args();
      break;
    default:
      option->expected(1);
      break;
  }
  return {&argument, option};
}

// The subcommand for a name of one or two words, its group made when first needed.
CLI::App* AddSubcommand(CLI::App* root, std::string_view name, const char* summary) {
  const size_t blank = name.find(' ');
  if (blank != std::string_view::npos) {
    const std::string group(name.substr(0, blank));
    const std::vector<CLI::App*> known =
        root->get_subcommands([&group](CLI::App* app) { return app->get_name() == group; });
    CLI::App* parent = known.empty() ? nullptr : known.front();
    if (parent == nullptr) {
      parent = root->add_subcommand(group, fmt::format("read and change the agent's {}", group));
      parent->require_subcommand(1)->fallthrough();
    }
    root = parent;
    name.remove_prefix(blank + 1);
  }
  CLI::App* app = root->add_subcommand(std::string(name), summary);
  app->fallthrough();
  return app;
}

bool IsOneOf(std::string_view word, std::span<const char* const> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// The first word of a subcommand's name.
std::string_view FirstWord(std::string_view name) {
  return name.substr(0, name.find(' '));
}

// Only the subcommands that the words name, if there is one: all of them together take longer than
// an exchange. Help and errors about a missing one list them all.
std::vector<Bound> AddSubcommands(CLI::App* root, std::span<const char* const> words) {
  const auto is_named = [&](const auto* command) {
    return IsOneOf(FirstWord(command->name), words);
  };
  const auto& commands = CommandTable();
  const auto& locals = LocalCommandTable();
  const bool named_only = (std::any_of(commands.begin(), commands.end(), is_named) ||
                           std::any_of(locals.begin(), locals.end(), is_named)) &&
                          !IsOneOf("--help", words) && !IsOneOf("-h", words);
  std::vector<Bound> all;
  const auto add = [&](const auto* command) {
    if (named_only && !is_named(command)) return;
    Bound& bound = all.emplace_back();
    bound.app = AddSubcommand(root, command->name, command->summary);
    if constexpr (std::is_same_v<decltype(command), const Command*>) {
      bound.command = command;
    } else {
      bound.local = command;
    }
    for (const Argument& argument : command->arguments) {
      bound.arguments.push_back(AddArgument(bound.app, argument));
    }
    const std::string_view notes = command->notes;
    bound.app->footer(std::string(notes) + (notes.empty() ? "" : "\n") +
                      "What all subcommands share: zemctl --help");
  };
  std::for_each(commands.begin(), commands.end(), add);
  std::for_each(locals.begin(), locals.end(), add);
  return all;
}

void TakeArguments(const std::vector<Bound>& all, Options* options) {
  for (const Bound& bound : all) {
    if (!bound.app->parsed()) continue;
    options->command = bound.command;
    options->local = bound.local;
    for (const auto& [argument, option] : bound.arguments) {
      if (option->count() > 0) options->arguments.Set(argument->name, Unguarded(option->results()));
    }
  }
}

// The parser names what is missing as an option; a person thinks of it by its place. And where no
// subcommand was understood, the word that is none says more than that one is missing.
std::string MissingText(const CLI::App& root, const std::vector<Bound>& all,
                        const CLI::RequiredError& error) {
  for (const Bound& bound : all) {
    if (!bound.app->parsed()) continue;
    for (const auto& [argument, option] : bound.arguments) {
      if (option->get_required() && option->count() == 0) {
        return fmt::format("{} needs {}: {}", bound.app->get_name(), argument->metavar,
                           argument->help);
      }
    }
  }
  const std::vector<std::string> unknown = root.remaining(true);
  if (unknown.empty()) return error.what();
  return fmt::format("there is no subcommand or option \"{}\"", unknown.front());
}

void SplitHosts(std::string_view text, std::vector<std::string>* hosts) {
  for (std::string_view piece; TakePiece(&text, ",", &piece);) {
    const std::string_view host = Trimmed(piece);
    if (!host.empty()) hosts->emplace_back(host);
  }
}

void TakeTimeout(const std::string& text, Options* options) {
  const size_t colon = text.find(':');
  double seconds = 0;
  constexpr double kMost = 86400 * 7;
  if (!ParseDecimal(text.substr(0, colon), &seconds) || seconds < 0.001 || seconds > kMost) {
    throw std::invalid_argument("-t: \"" + text + "\" is not SECONDS[:STATE]");
  }
  options->timeout = Milliseconds(static_cast<int64_t>(seconds * 1000));
  if (colon == std::string::npos) return;
  options->timeout_state = ParseState(std::string_view(text).substr(colon + 1));
  if (!options->timeout_state) {
    throw std::invalid_argument("-t: \"" + text.substr(colon + 1) +
                                "\" is not OK, WARNING, CRITICAL or UNKNOWN");
  }
}

int NumberOption(const char* name, const std::string& text, int most) {
  Arguments arguments;
  arguments.Set(name, {text});
  return static_cast<int>(arguments.Int(name, 0, 1, most));
}

void TakeThresholds(const Texts& texts, Options* options) {
  const bool own = options->command != nullptr && options->command->thresholds != nullptr;
  if (own && options->plugin) {
    options->thresholds =
        options->command->thresholds(options->arguments, texts.warning, texts.critical);
    return;
  }
  if (texts.warning.empty() && texts.critical.empty()) return;
  if (!options->plugin || options->command == nullptr) {
    throw std::invalid_argument("-w and -c belong to checks: use check_zem, or --plugin");
  }
  const RangeParser parse = options->command->range;
  if (parse == nullptr) {
    throw std::invalid_argument(fmt::format("{} takes no -w and -c", options->command->name));
  }
  if (!texts.warning.empty()) options->thresholds.warning = parse(texts.warning);
  if (!texts.critical.empty()) options->thresholds.critical = parse(texts.critical);
}

void CheckOptions(const Texts& texts, Options* options) {
  SplitHosts(texts.hosts, &options->hosts);
  if (!texts.port.empty()) options->port = NumberOption("port", texts.port, 65535);
  if (!texts.parallel.empty()) options->parallel = NumberOption("parallel", texts.parallel, 256);
  if (!texts.timeout.empty()) TakeTimeout(texts.timeout, options);
  if (texts.output == "json") {
    options->output = Output::kJson;
  } else if (texts.output == "raw") {
    options->output = Output::kRaw;
  } else if (texts.output != "table") {
    throw std::invalid_argument("-o: \"" + texts.output + "\" is not table, json or raw");
  }
  const bool always_check = options->command != nullptr && options->command->always_check;
  if (always_check && options->output == Output::kTable) options->plugin = true;
  TakeThresholds(texts, options);
  if (options->plugin && (options->command == nullptr || options->command->check == nullptr)) {
    throw std::invalid_argument("this subcommand is no check");
  }
}

// One line for a monitoring system, a pointer to the help for a person.
void ReportUsage(const Options& options, std::string_view text) {
  if (options.plugin) {
    fmt::print("ZEM UNKNOWN - {}\n", Printable(text));
  } else {
    fmt::print(stderr, "zemctl: {}\nTry zemctl --help, or zemctl SUBCOMMAND --help.\n",
               PrintableLines(text));
  }
}

}  // namespace

bool IsPluginName(std::string_view program) {
  return ExtractFileName(program).View().starts_with("check_zem");
}

std::optional<int> ParseCommandLine(int argc, const char* const* argv, Options* options) {
  options->plugin = argc > 0 && IsPluginName(argv[0]);
  CLI::App app(kDescription, options->plugin ? "check_zem" : "zemctl");
  Texts texts;
  AddGlobalOptions(&app, options, &texts);
  const std::vector<Bound> subcommands =
      AddSubcommands(&app, std::span(argv, static_cast<size_t>(argc)));
  app.require_subcommand(1);
  app.footer(kFooter);
  std::vector<std::string> arguments = GuardedArguments(argc, argv, app, subcommands);
  if (ExplainPasswordOption(arguments)) return options->UsageExit();
  try {
    app.parse(std::move(arguments));
    TakeArguments(subcommands, options);
    CheckOptions(texts, options);
  } catch (const CLI::Success& wanted) {  // help or version
    return app.exit(wanted);
  } catch (const CLI::RequiredError& error) {
    ReportUsage(*options, MissingText(app, subcommands, error));
    return options->UsageExit();
  } catch (const CLI::ParseError& error) {
    ReportUsage(*options, error.what());
    return options->UsageExit();
  } catch (const std::invalid_argument& error) {
    ReportUsage(*options, error.what());
    return options->UsageExit();
  }
  return std::nullopt;
}

}  // namespace zem::client
