// SPDX-License-Identifier: BSD-2-Clause
// The arguments of a subcommand: how each is spelled, and what a person gave.
//
// Shapes:  an argument is known by its name. Where a positional argument may also be written as an
//          option (check_zem disk --path /), its spelling says so ("path,--path").
// Errors:  std::invalid_argument, with a text for the person who typed it.
// Threads: constant once filled.

#ifndef ZEM_CLIENT_COMMANDS_ARGUMENTS_H_
#define ZEM_CLIENT_COMMANDS_ARGUMENTS_H_

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zem::client {

enum class ArgumentKind : uint8_t {
  kRequired,  // one value, by position or as an option
  kOptional,  // the same, may be left out
  kMany,      // one or more values
  kAny,       // any number of values
  kOption,    // an option with a value
  kFlag,      // an option without one
};
using enum ArgumentKind;

struct Argument {
  const char* name;
  const char* spelling;
  ArgumentKind kind;
  const char* metavar;
  const char* help;
  // What a shell offers for the value.
  std::span<const std::string_view> words = {};
};

// Words that stand for others: the files of this machine, the hosts the person has a list of, the
// names of the settings, the ready checks.
inline constexpr std::string_view kLocalFile[] = {":files"};
inline constexpr std::string_view kHostNames[] = {":hosts"};
inline constexpr std::string_view kSettingNames[] = {":settings"};
inline constexpr std::string_view kReadyChecks[] = {":checks"};

// A whole number in the given bounds; `name` is what a refusal calls it.
int64_t WholeNumber(std::string_view name, std::string_view text, int64_t least, int64_t most);

class Arguments {
 public:
  void Set(const std::string& name, std::vector<std::string> values) {
    values_[name] = std::move(values);
  }

  bool Has(std::string_view name) const;
  std::string Text(std::string_view name, std::string_view otherwise = "") const;
  const std::vector<std::string>& All(std::string_view name) const;
  // `otherwise` when it was not given, here and below.
  int64_t Int(std::string_view name, int64_t otherwise, int64_t least, int64_t most) const;
  // Seconds with an optional fraction, in milliseconds; -1 is taken as it stands.
  int64_t Millis(std::string_view name, int64_t otherwise) const;
  // Bytes with an optional unit (K, M, G, T, powers of 1024).
  int64_t Bytes(std::string_view name, int64_t otherwise, int64_t most) const;
  bool operator==(const Arguments&) const = default;

 private:
  std::map<std::string, std::vector<std::string>, std::less<>> values_;
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_ARGUMENTS_H_
