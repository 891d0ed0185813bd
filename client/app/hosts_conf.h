// SPDX-License-Identifier: BSD-2-Clause
// Lists of hosts: ports, addresses and passwords by name. A person's own one, and one for all
// users.
//
//   [web1]                  [db?.example.net]        [*]
//   address = 10.0.0.5      port = 1056              password-file = ~/.config/zem/common
//   password = ...
//
//   [@web]
//   hosts = web1, web2:1057
//
// Shapes:  a section's name is a shell pattern; for each key the first section that matches and
//          has it wins; password and password-file are one key. "#" and ";" begin a comment line.
// Errors:  std::runtime_error, naming file and line.

#ifndef ZEM_CLIENT_APP_HOSTS_CONF_H_
#define ZEM_CLIENT_APP_HOSTS_CONF_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/secret.h"

namespace zem::client {

// What stands between commas.
std::vector<std::string> HostList(std::string_view text);

// "@name" is no host but stands for those that hosts.conf lists under it.
inline bool IsGroup(std::string_view name) {
  return name.starts_with('@');
}

class HostsConf {
 public:
  HostsConf() = default;
  // Nobody who is not to know the passwords in it may read the file, nobody else write it.
  static HostsConf Read(const std::string& path);
  // What this user has written and, behind it, what `shared` holds for all who may read it. Nothing
  // when there is neither.
  static std::optional<HostsConf> ReadDefault(const std::string& shared);
  static HostsConf Parse(std::string_view text, const std::string& path);

  // What "@name" stands for. To Group, one that is not there, or names nobody, is an error.
  std::vector<std::string> Members(std::string_view group) const;
  std::vector<std::string> Group(std::string_view name) const;
  // The sections that name one host, or one group, in plain letters, for a shell that completes a
  // word.
  std::vector<std::string> Names(bool groups = false) const;
  std::optional<std::string> Address(std::string_view host) const;
  std::optional<int> Port(std::string_view host) const;
  std::optional<std::string> Source(std::string_view host) const;
  // From "password" or "password-file".
  std::optional<Secret> Password(std::string_view host) const;

 private:
  struct Section {
    std::string pattern;
    std::vector<std::string> hosts;  // of a group
    std::optional<std::string> address;
    std::optional<int> port;
    std::optional<std::string> source;
    std::optional<Secret> password;
    std::optional<std::string> password_file;

    bool IsFor(std::string_view host) const;
  };

  static void Store(std::string_view key, std::string_view value, Section* section);

  template <typename T>
  std::optional<T> First(std::string_view host, std::optional<T> Section::*member) const;

  std::vector<Section> sections_;
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_HOSTS_CONF_H_
