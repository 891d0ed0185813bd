// SPDX-License-Identifier: BSD-2-Clause
// The completions of the three shells know every subcommand and every option there is.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "commands/table.h"
#include "local/local_command.h"

namespace zem::client {
namespace {

std::set<std::string> Words(std::string text, const std::string& separators) {
  for (char& byte : text) {
    if (separators.find(byte) != std::string::npos) byte = ' ';
  }
  std::stringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

TEST(CompletionsTest, KnowEverySubcommandAndOption) {
  std::set<std::string> known = Words(
      "--help --version --host --hosts --port --timeout --source --parallel --output "
      "--agent-config --verbose --quiet --password-file --hosts-conf --no-password --plugin "
      "--warning --critical --unknown",
      "");
  const auto add = [&known](const char* name, std::span<const Argument> arguments) {
    known.merge(Words(name, ""));
    for (const Argument& argument : arguments) {
      for (const std::string& spelling : Words(argument.spelling, ",")) {
        if (spelling.front() == '-') known.insert(spelling);  // the others are no options
      }
    }
  };
  for (const Command* command : CommandTable()) add(command->name, command->arguments);
  for (const LocalCommand* command : LocalCommandTable()) add(command->name, command->arguments);

  for (const char* name : {"zemctl.bash", "_zemctl", "zemctl.fish"}) {
    std::ifstream file(std::string(ZEM_COMPLETIONS) + "/" + name);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    // fish writes "-l wait" and "-s w".
    text = std::regex_replace(text, std::regex(" -l "), " --");
    text = std::regex_replace(text, std::regex(" -s "), " -");
    const std::set<std::string> words = Words(text, "\"'`()[]{}|,;:=*+$\\\t");
    for (const std::string& word : known) EXPECT_TRUE(words.contains(word)) << name << ": " << word;
  }
}

}  // namespace
}  // namespace zem::client
