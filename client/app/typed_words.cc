// SPDX-License-Identifier: BSD-2-Clause
#include "app/typed_words.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include "model/words.h"

namespace zem::client {

namespace {

bool NeedsGuard(std::string_view argument) {
  if (argument.empty()) return false;
  return argument.front() == kGuard || (argument.front() == '[' && argument.back() == ']');
}

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

// Whether a word behind the first one of a command line that is to be started is an option here
// too.
bool IsOurOption(const CLI::App& root, const Bound& bound, const std::string& word) {
  const std::string name = word.starts_with("--") ? word.substr(0, word.find('=')) : word;
  const Command& command = *bound.command;
  const bool judged = command.range != nullptr || command.thresholds != nullptr;
  if (!judged && (name == "-w" || name == "-c" || name == "--warning" || name == "--critical")) {
    return false;
  }
  return name.size() > 1 && name[0] == '-' && name != "--" &&
         (root.get_option_no_throw(name) != nullptr ||
          bound.app->get_option_no_throw(name) != nullptr);
}

// The program and the subcommands that were named, the last one last.
std::vector<const CLI::App*> NamedApps(const CLI::App& root) {
  std::vector<const CLI::App*> apps = {&root};
  while (!apps.back()->get_subcommands().empty()) {
    apps.push_back(apps.back()->get_subcommands().front());
  }
  return apps;
}

std::vector<std::string> LongOptions(const std::vector<const CLI::App*>& apps) {
  std::vector<std::string> names;
  for (const CLI::App* app : apps) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

std::vector<std::string> SubcommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(each->get_name());
  }
  return names;
}

}  // namespace

std::vector<std::string> Unguarded(std::vector<std::string> values) {
  for (std::string& value : values) {
    if (!value.empty() && value.front() == kGuard) value.erase(0, 1);
  }
  return values;
}

Typed TakeTyped(int argc, const char* const* argv, const CLI::App& root,
                const std::vector<Bound>& subcommands) {
  Typed typed;
  bool values_alone = false;
  bool said = false;      // by "--"
  bool is_value = false;  // of the option in front of it
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const bool is_option = !values_alone && !is_value && argument.size() > 1 && argument[0] == '-';
    if (is_option && argument == "--") {
      values_alone = true;
      said = true;
      continue;
    }
    if (is_option) {
      is_value = TakesNext(root, typed.command == nullptr ? root : *typed.command->app, argument);
    } else if (is_value) {
      is_value = false;
    } else if (typed.command == nullptr) {
      for (const Bound& bound : subcommands) {
        if (bound.app->get_name() == argument) typed.command = &bound;
      }
    } else if (EndsInCommandLine(*typed.command)) {
      const bool first_of_all = typed.left_over.empty() && values_alone && !said;
      if (first_of_all && IsOurOption(root, *typed.command, argument)) typed.left_over = argument;
      values_alone = true;
    }
    typed.arguments.push_back(values_alone || NeedsGuard(argument) ? kGuard + argument : argument);
  }
  std::reverse(typed.arguments.begin(), typed.arguments.end());
  return typed;
}

void RefusePasswordOption(const std::vector<std::string>& arguments) {
  for (const std::string_view argument : arguments) {
    const std::string_view name = argument.substr(0, argument.find('='));
    if (name != "--password" && name != "--pass" && name != "--passwd" && name != "--secret" &&
        !argument.starts_with("-P")) {
      continue;
    }
    throw std::invalid_argument(fmt::format(
        "{} would show the password to everybody who lists processes: put it in a file that only "
        "you can read and use --password-file FILE (\"-\" reads standard input), or set "
        "ZEM_PASSWORD, or keep it in ~/.config/zem/hosts.conf",
        name.substr(0, name.starts_with("--") ? name.size() : 2)));
  }
}

std::string UnknownWordText(const CLI::App& root) {
  std::vector<std::string> unknown = root.remaining(true);
  if (unknown.empty()) return "";
  const auto is_option = [](const std::string& word) { return word.size() > 1 && word[0] == '-'; };
  // A mistyped option says more than the value that it leaves behind.
  const auto option = std::find_if(unknown.begin(), unknown.end(), is_option);
  std::string word = option == unknown.end() ? unknown.front() : *option;
  const std::vector<const CLI::App*> apps = NamedApps(root);
  if (is_option(word)) {
    word = word.substr(0, word.find('='));
    if (apps.back()->get_option_no_throw(word) != nullptr) {
      return fmt::format("\"{}\" belongs behind \"{}\"", word, apps.back()->get_name());
    }
    return fmt::format("there is no option \"{}\"{}", word, DidYouMean(word, LongOptions(apps)));
  }
  if (word[0] == kGuard) word.erase(0, 1);
  const std::vector<std::string> names = SubcommandNames(*apps.back());
  if (names.empty()) return fmt::format("{} takes no \"{}\"", apps.back()->get_name(), word);
  return fmt::format("there is no subcommand \"{}\"{}", word, DidYouMean(word, names));
}

}  // namespace zem::client
