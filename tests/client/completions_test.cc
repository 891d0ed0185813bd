// SPDX-License-Identifier: BSD-2-Clause
// The completions of the three shells know every subcommand and every option there is.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "commands/table.h"
#include "local/local_command.h"

namespace zem::client {
namespace {

std::string ReadCompletion(const std::string& name) {
  std::ifstream file(std::string(ZEM_COMPLETIONS) + "/" + name);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

bool IsWordByte(char byte) {
  return isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '-' || byte == '_';
}

// The text holds the word with no word byte on either side.
bool HoldsWord(const std::string& text, const std::string& word) {
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
    const bool begins = at == 0 || !IsWordByte(text[at - 1]);
    const size_t end = at + word.size();
    if (begins && (end == text.size() || !IsWordByte(text[end]))) return true;
  }
  return false;
}

// "path", "--path", "-r" and so on, without the names of positional arguments.
std::set<std::string> OptionNames(const Argument& argument) {
  std::set<std::string> names;
  std::stringstream spelling(argument.spelling);
  for (std::string name; std::getline(spelling, name, ',');) {
    if (name.front() == '-') names.insert(name);
  }
  return names;
}

TEST(CompletionsTest, KnowEverySubcommandAndOption) {
  std::set<std::string> names;
  std::set<std::string> options = {
      "--help",    "--version", "--host",          "--hosts",      "--port",
      "--timeout", "--source",  "--parallel",      "--output",     "--agent-config",
      "--verbose", "--quiet",   "--password-file", "--hosts-conf", "--no-password",
      "--plugin",  "--warning", "--critical",      "--unknown"};
  const auto add = [&](const char* name, std::span<const Argument> arguments) {
    std::stringstream words(name);
    for (std::string word; words >> word;) names.insert(word);
    for (const Argument& argument : arguments) options.merge(OptionNames(argument));
  };
  for (const Command* command : CommandTable()) add(command->name, command->arguments);
  for (const LocalCommand* command : LocalCommandTable()) add(command->name, command->arguments);

  for (const char* file : {"zemctl.bash", "_zemctl", "zemctl.fish"}) {
    const std::string text = ReadCompletion(file);
    ASSERT_FALSE(text.empty()) << file;
    for (const std::string& name : names)
      EXPECT_TRUE(HoldsWord(text, name)) << file << ": " << name;
    const bool fish = std::string(file).ends_with(".fish");
    for (const std::string& option : options) {
      // fish writes "-l wait" and "-s w".
      const bool is_long = option.starts_with("--");
      const std::string spelled =
          !fish ? option : (is_long ? "-l " + option.substr(2) : "-s " + option.substr(1));
      EXPECT_TRUE(HoldsWord(text, spelled)) << file << ": " << option;
    }
  }
}

}  // namespace
}  // namespace zem::client
