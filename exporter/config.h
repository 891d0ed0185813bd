// SPDX-License-Identifier: BSD-2-Clause
// The configuration: modules of checks, passwords by name, who may be asked.
//
// Shapes:  YAML of three maps: `auths` (name: path of a password file), `targets` (a list of rules,
//          the first that admits a target holds), `modules` (name: list of checks).
// Errors:  std::runtime_error, "FILE:LINE: what is wrong"; no value of an auth is ever part of it.
// Threads: constant once read.

#ifndef ZEM_EXPORTER_CONFIG_H_
#define ZEM_EXPORTER_CONFIG_H_

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "checks.h"
#include "model/secret.h"
#include "targets.h"

namespace zem::exporter {

struct Config {
  std::map<std::string, client::Secret, std::less<>> auths;
  std::vector<TargetRule> rules;
  std::map<std::string, std::vector<Step>, std::less<>> modules;
  std::string shown;  // what a person may read of it: without the values of auths

  // The first rule that admits the target, or null: then it must not be asked.
  const TargetRule* RuleFor(const Target& target) const;
};

using PasswordReader = std::function<client::Secret(const std::string& path)>;

// Refuses a password file of somebody else, or that group or others may read or write, except among
// the credentials that the service manager hands over.
client::Secret ReadPassword(const std::string& path);

Config ParseConfig(std::string_view text, const std::string& path, const PasswordReader& passwords);
Config ReadConfig(const std::string& path);

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_CONFIG_H_
