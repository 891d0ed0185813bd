// SPDX-License-Identifier: BSD-2-Clause
#include "app/hosts_conf.h"

#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "commands/arguments.h"
#include "model/secret.h"
#include "model/words.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

std::string Home() {
  const char* home = getenv("HOME");
  return home == nullptr ? "" : home;
}

std::string ExpandHome(const std::string& path) {
  return path.starts_with("~/") ? Home() + path.substr(1) : path;
}

// The file of this user; empty when there is no home.
std::string OwnPath() {
  const char* config = getenv("XDG_CONFIG_HOME");
  if (config != nullptr && *config == '/') return std::string(config) + "/zem/hosts.conf";
  const std::string home = Home();
  return home.empty() ? "" : home + "/.config/zem/hosts.conf";
}

}  // namespace

std::vector<std::string> HostList(std::string_view text) {
  std::vector<std::string> hosts;
  for (std::string_view piece; TakePiece(&text, ",", &piece);) {
    if (const std::string_view host = Trimmed(piece); !host.empty()) hosts.emplace_back(host);
  }
  return hosts;
}

std::optional<HostsConf> HostsConf::ReadDefault(const std::string& shared) {
  std::optional<HostsConf> conf;
  const std::string own = OwnPath();
  if (!own.empty() && access(own.c_str(), F_OK) == 0) conf = Read(own);
  // One that is closed to this user was written for others.
  if (access(shared.c_str(), R_OK) != 0) return conf;
  HostsConf behind = Read(shared);
  if (!conf) return behind;
  std::move(behind.sections_.begin(), behind.sections_.end(), std::back_inserter(conf->sections_));
  return conf;
}

HostsConf HostsConf::Read(const std::string& path) {
  return Parse(ReadSecretFile(path, Privacy::kOwnerOnly).View(), path);
}

void HostsConf::Store(std::string_view key, std::string_view value, Section* section) {
  if (IsGroup(section->pattern)) {
    if (key != "hosts") throw std::invalid_argument("a group has hosts, and nothing else");
    for (std::string& host : HostList(value)) {
      if (IsGroup(host)) throw std::invalid_argument("a group holds hosts, and no groups");
      section->hosts.push_back(std::move(host));
    }
  } else if (key == "address") {
    section->address = value;
  } else if (key == "port") {
    section->port = static_cast<int>(WholeNumber("port", value, 1, 65535));
  } else if (key == "source") {
    section->source = value;
  } else if (key == "password") {
    section->password = Secret(value);
    section->password_file.reset();
  } else if (key == "password-file") {
    section->password_file = value;
    section->password.reset();
  } else {
    throw std::invalid_argument(fmt::format("unknown key \"{}\"", key));
  }
}

HostsConf HostsConf::Parse(std::string_view text, const std::string& path) {
  HostsConf conf;
  std::string_view whole;
  for (int number = 1; TakePiece(&text, "\n", &whole); ++number) {
    const std::string_view line = Trimmed(whole);
    if (line.empty() || line.front() == '#' || line.front() == ';') continue;
    try {
      if (line.front() == '[' && line.back() == ']') {
        conf.sections_.emplace_back().pattern = Trimmed(line.substr(1, line.size() - 2));
        continue;
      }
      const size_t equals = line.find('=');
      if (equals == std::string_view::npos || conf.sections_.empty()) {
        throw std::invalid_argument("neither [host] nor key = value below one");
      }
      Store(Trimmed(line.substr(0, equals)), Trimmed(line.substr(equals + 1)),
            &conf.sections_.back());
    } catch (const std::invalid_argument& error) {
      throw std::runtime_error(fmt::format("{} line {}: {}", path, number, error.what()));
    }
  }
  return conf;
}

bool HostsConf::Section::IsFor(std::string_view host) const {
  return fnmatch(pattern.c_str(), std::string(host).c_str(), 0) == 0;
}

template <typename T>
std::optional<T> HostsConf::First(std::string_view host, std::optional<T> Section::*member) const {
  for (const Section& section : sections_) {
    if (section.*member && section.IsFor(host)) return section.*member;
  }
  return std::nullopt;
}

std::vector<std::string> HostsConf::Members(std::string_view group) const {
  std::vector<std::string> hosts;
  for (const Section& section : sections_) {
    if (section.pattern == group) {
      hosts.insert(hosts.end(), section.hosts.begin(), section.hosts.end());
    }
  }
  return hosts;
}

std::vector<std::string> HostsConf::Group(std::string_view name) const {
  std::vector<std::string> hosts = Members(name);
  if (!hosts.empty()) return hosts;
  const bool there = std::any_of(sections_.begin(), sections_.end(),
                                 [&](const Section& section) { return section.pattern == name; });
  throw std::runtime_error(
      fmt::format("hosts.conf has no {} \"{}\"", there ? "hosts in the group" : "group", name));
}

std::vector<std::string> HostsConf::Names(bool groups) const {
  constexpr const char* kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._:-";
  std::vector<std::string> names;
  for (const Section& section : sections_) {
    if (IsGroup(section.pattern) == groups &&
        section.pattern.find_first_not_of(kPlain, groups) == std::string::npos) {
      names.push_back(section.pattern);
    }
  }
  return names;
}

std::optional<std::string> HostsConf::Address(std::string_view host) const {
  return First(host, &Section::address);
}

std::optional<int> HostsConf::Port(std::string_view host) const {
  return First(host, &Section::port);
}

std::optional<std::string> HostsConf::Source(std::string_view host) const {
  return First(host, &Section::source);
}

std::optional<Secret> HostsConf::Password(std::string_view host) const {
  for (const Section& section : sections_) {
    if ((!section.password && !section.password_file) || !section.IsFor(host)) continue;
    if (section.password) return section.password->Copy();
    return ReadPasswordFile(ExpandHome(*section.password_file), Privacy::kOwnerOnly);
  }
  return std::nullopt;
}

}  // namespace zem::client
