// SPDX-License-Identifier: BSD-2-Clause
#include "app/options.h"

#include <algorithm>
#include <exception>
#include <optional>

#include <fmt/format.h>

#include "app/global_arguments.h"
#include "app/hosts_conf.h"
#include "commands/ready_check.h"
#include "core/settings.h"
#include "local/local_command.h"
#include "model/words.h"

namespace zem::client {

namespace {

struct Candidate {
  std::string word;
  std::string_view help;
};

std::vector<const Command*> Subcommands(bool checks_alone) {
  std::vector<const Command*> all = AllCommands();
  if (checks_alone) std::erase_if(all, [](const Command* each) { return each->check == nullptr; });
  return all;
}

std::vector<std::string_view> Spellings(std::string_view list) {
  std::vector<std::string_view> spellings;
  for (std::string_view spelling; TakePiece(&list, ",", &spelling);) spellings.push_back(spelling);
  return spellings;
}

// Hosts stand between commas: what is in front of the last one stays.
std::vector<Candidate> Hosts(std::string_view current, const std::string& shared) {
  std::vector<Candidate> hosts;
  const std::string_view before = current.substr(0, current.rfind(',') + 1);
  try {
    const std::optional<HostsConf> conf = HostsConf::ReadDefault(shared);
    if (!conf) return hosts;
    for (const bool groups : {false, true}) {
      for (const std::string& name : conf->Names(groups)) {
        hosts.push_back({std::string(before) + name, ""});
      }
    }
  } catch (const std::exception&) {
    // One that others have a hand in.
  }
  return hosts;
}

std::vector<Candidate> Checks() {
  std::vector<Candidate> names;
  try {
    for (const std::string& name : CheckNames(ZEM_CHECKS_DIR)) names.push_back({name, ""});
  } catch (const std::exception&) {
    // Not installed.
  }
  return names;
}

std::vector<Candidate> Settings() {
  std::vector<Candidate> names;
  for (const SettingRow& row : SettingsTable()) {
    // A password has its own option, and a name with blanks its key in the file.
    if (row.wire_name.empty() || row.key == "password") continue;
    const bool plain = row.wire_name.find(' ') == std::string_view::npos;
    names.push_back({std::string(plain ? row.wire_name : row.key) + '=', ""});
  }
  return names;
}

std::vector<Candidate> Values(const Argument& argument, std::string_view current,
                              const std::string& shared) {
  if (argument.words.data() == kSettingNames) return Settings();
  if (argument.words.data() == kReadyChecks) return Checks();
  if (argument.words.data() == kHostNames) return Hosts(current, shared);
  std::vector<Candidate> values;
  for (const std::string_view word : argument.words) values.push_back({std::string(word), ""});
  return values;
}

// The place of the unfinished word: behind which words it stands.
class Place {
 public:
  Place(const std::vector<std::string>& words, const std::string& shared_hosts)
      : subcommands_(Subcommands(IsPluginName(words.front()))),
        current_(words.back()),
        shared_hosts_(shared_hosts) {
    for (size_t i = 1; i + 1 < words.size(); ++i) Pass(words[i]);
  }

  std::vector<Candidate> Candidates() const {
    if (awaiting_value_ != nullptr) return Values(*awaiting_value_, current_, shared_hosts_);
    if (command_ == nullptr && !current_.starts_with('-')) return Names();
    std::vector<Candidate> found;
    if (current_.starts_with('-') && !InCommandLine()) {
      for (const Argument* argument : Known()) {
        for (const std::string_view name : Spellings(argument->spelling)) {
          if (name.starts_with('-')) found.push_back({std::string(name), argument->help});
        }
      }
    } else if (const Argument* argument = Positional(position_)) {
      found = Values(*argument, current_, shared_hosts_);
    }
    return found;
  }

 private:
  void Pass(const std::string& word) {
    if (awaiting_value_ != nullptr) {
      awaiting_value_ = nullptr;
    } else if (word.starts_with('-') && !InCommandLine()) {
      for (const Argument* argument : Known()) {
        const std::vector<std::string_view> names = Spellings(argument->spelling);
        const bool named = std::find(names.begin(), names.end(), word) != names.end();
        if (named && argument->kind != kFlag) awaiting_value_ = argument;
      }
    } else if (command_ != nullptr) {
      ++position_;
    } else {
      group_ += group_.empty() ? word : ' ' + word;
      for (const Command* each : subcommands_) {
        if (each->name == group_) command_ = each;
      }
    }
  }

  // Behind the first word of "run", "exec" and "plugin" all belongs to what they start.
  bool InCommandLine() const {
    const Argument* first = Positional(0);
    return first != nullptr && first->kind == kMany && position_ > 0;
  }

  std::vector<const Argument*> Known() const {
    static constexpr Argument kHelp = {"help", "-h,--help", kFlag, "", "print help"};
    std::vector<const Argument*> known = {&kHelp};
    if (command_ != nullptr) {
      for (const Argument& argument : command_->arguments) known.push_back(&argument);
    }
    for (const Argument& argument : kGlobalArguments) known.push_back(&argument);
    return known;
  }

  // The last one may take any number of words.
  const Argument* Positional(size_t number) const {
    if (command_ == nullptr) return nullptr;
    const Argument* found = nullptr;
    for (const Argument& argument : command_->arguments) {
      if (argument.spelling[0] == '-') continue;
      found = &argument;
      if (number-- == 0) return found;
    }
    return found != nullptr && found->kind == kAny ? found : nullptr;
  }

  // The subcommands, or those of the group that has been named.
  std::vector<Candidate> Names() const {
    std::vector<Candidate> names;
    const std::string before = group_.empty() ? "" : group_ + ' ';
    for (const Command* each : subcommands_) {
      std::string_view rest = each->name;
      if (!rest.starts_with(before)) continue;
      rest.remove_prefix(before.size());
      const size_t end = std::min(rest.find(' '), rest.size());
      const std::string word(rest.substr(0, end));
      if (!names.empty() && names.back().word == word) continue;
      names.push_back({word, end == rest.size() ? each->summary : std::string_view()});
    }
    return names;
  }

  const std::vector<const Command*> subcommands_;
  const std::string_view current_;
  const std::string& shared_hosts_;
  std::string group_;
  const Command* command_ = nullptr;
  const Argument* awaiting_value_ = nullptr;
  size_t position_ = 0;
};

}  // namespace

std::string CompletionLines(const std::vector<std::string>& words,
                            const std::string& shared_hosts) {
  if (words.empty()) return "";
  std::string lines;
  for (const Candidate& each : Place(words, shared_hosts).Candidates()) {
    const bool fits = each.word.starts_with(words.back()) || each.word == kLocalFile[0];
    if (fits) lines += fmt::format("{}\t{}\n", each.word, each.help);
  }
  return lines;
}

}  // namespace zem::client
