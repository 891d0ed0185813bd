// SPDX-License-Identifier: BSD-2-Clause
#include "app/options.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <stdexcept>
#include <string_view>
#include <variant>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "app/global_arguments.h"
#include "app/hosts_conf.h"
#include "app/typed_words.h"
#include "local/local_command.h"
#include "model/printable.h"
#include "model/words.h"
#include "text/path.h"

namespace zem::client {

namespace {

// What the global options are read into before they are checked.
struct Texts {
  std::string hosts;
  std::string port;
  std::string timeout;
  std::string output = "table";
  std::string parallel;
  std::string watch;
  std::string warning;
  std::string critical;
};

constexpr const char* kDescription =
    "Asks zem agents: checks, actions, lists, settings, and the agent itself.\n"
    "The password comes from --password-file, --agent-config, "
    "$CREDENTIALS_DIRECTORY/zem-password,\n"
    "ZEM_PASSWORD, ~/.config/zem/hosts.conf, " ZEM_CONFDIR
    "/hosts.conf or a prompt; never from the command line.";

constexpr const char* kFooter =
    "Exit codes: 0 done, 1 the agent reports a failure, 2 usage or local error, 3 no connection "
    "or\n"
    "time-out, 4 closed without a reply, 5 refused by the agent's configuration, 6 bad request or\n"
    "reply. As check_zem (or with --plugin): 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN.";

// In a check an option that goes to the wrong program changes what is checked without a word.
void ExplainLeftOver(const std::string& option, bool plugin) {
  if (option.empty()) return;
  const std::string text = fmt::format(
      "\"{}\" stands behind the command and is taken for its own: put it in front of the command, "
      "or "
      "\"--\" in front of that",
      option);
  if (plugin) throw std::invalid_argument(text);
  fmt::print(stderr, "zemctl: warning: {}\n", Printable(text));
}

// Whether a word may be this option, alone or among others: "-p 5", "-p5", "-qp5", "--port=5".
bool MayBeNamed(std::string_view spelling, std::span<const char* const> words) {
  const size_t dashes = spelling.find("--");
  const std::string_view name = spelling.substr(dashes);
  return std::any_of(words.begin(), words.end(), [&](std::string_view word) {
    if (word.starts_with("--")) return word.starts_with(name);
    return dashes > 0 && word.starts_with('-') && word.find(spelling[1]) != word.npos;
  });
}

void AddGlobalOptions(CLI::App* app, std::span<const char* const> words, bool all, Options* options,
                      Texts* texts) {
  // In the order of the table.
  const std::variant<std::string*, bool*> targets[] = {
      &texts->hosts,          &options->hosts_file, &texts->port,
      &texts->timeout,        &options->source,     &texts->parallel,
      &texts->watch,          &texts->output,       &options->password_file,
      &options->agent_config, &options->hosts_conf, &options->no_password,
      &options->verbose,      &options->quiet,      &options->plugin,
      &texts->warning,        &texts->critical,     &options->unreachable_is_unknown};
  static_assert(std::size(targets) == std::size(kGlobalArguments));
  for (size_t i = 0; i < std::size(targets); ++i) {
    const Argument& argument = kGlobalArguments[i];
    if (!all && !MayBeNamed(argument.spelling, words)) continue;
    if (bool* const* flag = std::get_if<bool*>(&targets[i])) {
      app->add_flag(argument.spelling, **flag, argument.help)->disable_flag_override();
    } else {
      const auto take = [text = std::get<std::string*>(targets[i])](const CLI::results_t& values) {
        *text = Unguarded(values).front();
        return true;
      };
      app->add_option(argument.spelling, take, argument.help)
          ->type_name(argument.metavar)
          ->type_size(1)
          ->expected(1);
    }
  }
  app->set_version_flag("-V,--version", app->get_name() + " " ZEM_CLIENT_VERSION);
}

BoundArgument AddArgument(CLI::App* app, const Argument& argument) {
  // The values are taken from the option afterwards, so nothing is converted on the way.
  static const CLI::callback_t kNoConversion = [](const CLI::results_t&) { return true; };
  if (argument.kind == kFlag) {
    // "--invert=no" would count as given, and turn the verdict round.
    return {&argument, app->add_flag(argument.spelling, argument.help)->disable_flag_override()};
  }
  CLI::Option* option = app->add_option(argument.spelling, kNoConversion, argument.help);
  option->type_name(argument.metavar)->type_size(1);
  const bool many = argument.kind == kMany || argument.kind == kAny;
  option->required(argument.kind == kRequired || argument.kind == kMany)
      ->expected(argument.kind == kAny ? 0 : 1, many ? CLI::detail::expected_max_vector_size : 1)
      ->allow_extra_args(many);
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

// The first word of a subcommand's name.
std::string_view FirstWord(std::string_view name) {
  return name.substr(0, name.find(' '));
}

std::string FooterOf(const Command& command) {
  std::string text = command.notes;
  if (!text.empty()) text += '\n';
  if (*command.switch_keys != '\0') {
    text += fmt::format("The agent's configuration has to allow it: {}\n", command.switch_keys);
  }
  return text + "What all subcommands share: zemctl --help";
}

std::vector<Bound> AddSubcommands(CLI::App* root, std::span<const char* const> words, bool all) {
  std::vector<Bound> added;
  for (const Command* command : AllCommands()) {
    const auto is_named = [&](std::string_view word) { return word == FirstWord(command->name); };
    if (!all && std::none_of(words.begin(), words.end(), is_named)) continue;
    Bound& bound = added.emplace_back();
    bound.app = AddSubcommand(root, command->name, command->summary);
    bound.command = command;
    for (const Argument& argument : command->arguments) {
      bound.arguments.push_back(AddArgument(bound.app, argument));
    }
    bound.app->footer(FooterOf(*command));
  }
  return added;
}

// An empty word is mostly a macro or a variable that was not set.
void RefuseEmpty(std::string_view spelling, const CLI::Option& option) {
  const std::vector<std::string> values = Unguarded(option.results());
  if (std::find(values.begin(), values.end(), "") == values.end()) return;
  const std::string_view name = spelling.substr(spelling.rfind(',') + 1);
  throw std::invalid_argument(fmt::format("{} is empty", name));
}

void TakeArguments(const std::vector<Bound>& all, Options* options) {
  for (const Bound& bound : all) {
    if (!bound.app->parsed()) continue;
    options->command = bound.command;
    for (const auto& [argument, option] : bound.arguments) {
      if (option->count() == 0) continue;
      if (argument->kind == kRequired || argument->kind == kOptional) {
        RefuseEmpty(argument->metavar, *option);
      }
      if (argument->kind == kOption) RefuseEmpty(argument->spelling, *option);
      options->arguments.Set(argument->name, Unguarded(option->results()));
    }
  }
}

// Thresholds may be empty: definitions of schedulers have a place for each, given or not.
void RefuseEmptyGlobals(const CLI::App& app) {
  for (const Argument& argument : kGlobalArguments) {
    const std::string_view name = argument.name;
    if (argument.kind != kOption || name == "warning" || name == "critical") continue;
    const CLI::Option* option = app.get_option_no_throw("--" + std::string(name));
    if (option != nullptr) RefuseEmpty(argument.spelling, *option);
  }
}

// What the parser says of a wrong number of values, in words for who typed them.
std::string PlainText(const std::string& text) {
  const std::string name = text.substr(0, text.find_first_of(": "));
  if (text.ends_with(" missing")) return name + " needs a value";
  if (text.ends_with(" flag override")) {
    return (name.size() > 1 ? "--" : "-") + name + " takes no value";
  }
  if (text.find(": At Most 1 required") != text.npos) return name + " may be given once";
  return text;
}

// The parser names what is missing as an option; a person thinks of it by its place.
std::string MissingText(const std::vector<Bound>& all, const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr) return PlainText(error.what());
  for (const Bound& bound : all) {
    if (!bound.app->parsed()) continue;
    for (const auto& [argument, option] : bound.arguments) {
      if (option->get_required() && option->count() == 0) {
        return fmt::format("{} needs {}: {}", bound.app->get_name(), argument->metavar,
                           argument->help);
      }
    }
  }
  return error.what();
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

// What was typed must be able to alert, before a check's own -c too.
void RefuseReversed(const Texts& texts, const Thresholds& thresholds) {
  if (texts.warning.empty() || !thresholds.Reversed()) return;
  const bool own = texts.critical.empty();
  throw std::invalid_argument(fmt::format(
      "thresholds the wrong way round: -w {} never alerts before {} {}", texts.warning,
      own ? "the check's own -c" : "-c", own ? thresholds.critical->Text() : texts.critical));
}

void TakeThresholds(const Texts& texts, Options* options) {
  if (options->plugin && options->command->thresholds != nullptr) {
    options->thresholds =
        options->command->thresholds(options->arguments, texts.warning, texts.critical);
    RefuseReversed(texts, options->thresholds);
    return;
  }
  if (texts.warning.empty() && texts.critical.empty()) return;
  if (!options->plugin || options->command->run != nullptr) {
    throw std::invalid_argument("-w and -c belong to checks: use check_zem, or --plugin");
  }
  const RangeParser parse = options->command->range;
  if (parse == nullptr) {
    throw std::invalid_argument(fmt::format("{} takes no -w and -c", options->command->name));
  }
  if (!texts.warning.empty()) options->thresholds.warning = parse(texts.warning);
  if (!texts.critical.empty()) options->thresholds.critical = parse(texts.critical);
  RefuseReversed(texts, options->thresholds);
}

void CheckOptions(const Texts& texts, bool wants_plugin, Options* options) {
  options->hosts = HostList(texts.hosts);
  if (!texts.hosts.empty() && options->hosts.empty()) {
    throw std::invalid_argument(fmt::format("-H: \"{}\" names no host", texts.hosts));
  }
  if (options->hosts_file == "-" && options->password_file == "-") {
    throw std::invalid_argument("--hosts and --password-file cannot both be standard input");
  }
  if (!texts.port.empty())
    options->port = static_cast<int>(WholeNumber("port", texts.port, 1, 65535));
  if (!texts.parallel.empty())
    options->parallel = static_cast<int>(WholeNumber("parallel", texts.parallel, 1, 256));
  if (!texts.watch.empty())
    options->watch = static_cast<int>(WholeNumber("watch", texts.watch, 1, 604800));
  if (!texts.timeout.empty()) TakeTimeout(texts.timeout, options);
  const auto* form = std::find(std::begin(kForms), std::end(kForms), texts.output);
  if (form == std::end(kForms)) {
    throw std::invalid_argument("-o: \"" + texts.output + "\" is not table, json or raw");
  }
  options->output = static_cast<Output>(form - std::begin(kForms));
  if (options->output != Output::kTable) options->plugin = wants_plugin;
  if (options->watch > 0 && (options->plugin || options->command->run != nullptr)) {
    throw std::invalid_argument("--watch is for what asks agents, and not for checks");
  }
  TakeThresholds(texts, options);
  if (options->plugin && options->command->check == nullptr) {
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

// With `all` the parser knows every option and subcommand, as it has to for help and for what it
// says of an error. To know only those that the words may name is enough for a line without a
// fault, and spares most of the time until the request is sent.
std::optional<int> Parse(int argc, const char* const* argv, bool all, Options* options) {
  *options = Options();
  const bool named_plugin = argc > 0 && IsPluginName(argv[0]);
  CLI::App app(kDescription, named_plugin ? "check_zem" : "zemctl");
  Texts texts;
  const std::span typed_words(argv, static_cast<size_t>(argc));
  AddGlobalOptions(&app, typed_words, all, options, &texts);
  const std::vector<Bound> subcommands = AddSubcommands(&app, typed_words, all);
  app.require_subcommand(1);
  app.footer(kFooter);
  Typed typed = TakeTyped(argc, argv, app, subcommands);
  // Known first, so that every refusal of what follows is told in the way of a plugin.
  const auto& words = typed.arguments;
  const bool asked = std::find(words.begin(), words.end(), "--plugin") != words.end();
  const Command* command = typed.command == nullptr ? nullptr : typed.command->command;
  const bool by_nature = command != nullptr && command->always_check;
  options->plugin = named_plugin || asked || by_nature;
  try {
    RefusePasswordOption(typed.arguments);
    app.parse(std::move(typed.arguments));
    RefuseEmptyGlobals(app);
    TakeArguments(subcommands, options);
    CheckOptions(texts, named_plugin || asked, options);
    ExplainLeftOver(typed.left_over, options->plugin);
  } catch (const CLI::Success& wanted) {  // help or version
    return all ? app.exit(wanted) : Parse(argc, argv, true, options);
  } catch (const CLI::ParseError& error) {
    if (!all) return Parse(argc, argv, true, options);
    const std::string unknown = UnknownWordText(app);
    ReportUsage(*options, unknown.empty() ? MissingText(subcommands, error) : unknown);
    return options->UsageExit();
  } catch (const std::invalid_argument& error) {
    ReportUsage(*options, error.what());
    return options->UsageExit();
  }
  return std::nullopt;
}

}  // namespace

bool IsPluginName(std::string_view program) {
  return ExtractFileName(program).View().starts_with("check_zem");
}

std::optional<int> ParseCommandLine(int argc, const char* const* argv, Options* options) {
  return Parse(argc, argv, false, options);
}

}  // namespace zem::client
