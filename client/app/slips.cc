// SPDX-License-Identifier: BSD-2-Clause
#include "app/slips.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "app/typed_words.h"
#include "model/nearest.h"

namespace zem::client {

namespace {

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
    return fmt::format("there is no option \"{}\"{}", word, DidYouMean(word, LongOptions(apps)));
  }
  if (word[0] == kGuard) word.erase(0, 1);
  const std::vector<std::string> names = SubcommandNames(*apps.back());
  if (names.empty()) return fmt::format("{} takes no \"{}\"", apps.back()->get_name(), word);
  return fmt::format("there is no subcommand \"{}\"{}", word, DidYouMean(word, names));
}

}  // namespace zem::client
