// SPDX-License-Identifier: BSD-2-Clause
#include "app/targets.h"

#include <string.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "app/hosts_conf.h"
#include "core/config_file.h"
#include "model/local_file.h"
#include "model/secret.h"
#include "model/words.h"
#include "text/numbers.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr const char* kLocalHost = "127.0.0.1";

// What a client on the agent's own host needs of the agent's configuration file. It is read key by
// key: unlike the agent's own load this neither demands a complete file nor exports a temporary
// directory.
struct AgentConfig {
  std::string host;  // empty = all addresses
  int port = 0;      // 0 = not in the file
  Secret password;
};

AgentConfig ReadAgentConfig(const std::string& path) {
  const Secret whole = ReadSecretFile(path, Privacy::kAnyMode);
  const FilePtr lines(OpenText(whole.View()));
  AgentConfig config;
  ConfigLine parsed;
  for (OvString line; lines && ReadConfigLine(lines.get(), &line); line.Wipe()) {
    if (!ParseConfigLine(line, &parsed)) continue;
    if (parsed.key == "host") config.host = parsed.value;
    // The agent keeps the first port it finds.
    if (parsed.key == "port" && config.port == 0) config.port = ParseInt(parsed.value);
    if (parsed.key == "password") config.password = Secret(parsed.value);
  }
  return config;
}

// Where each part of a target may come from, read once for all hosts.
struct Sources {
  std::optional<AgentConfig> agent;
  HostsConf conf;
  std::optional<Secret> password;  // for every host
  bool asked = false;              // the person, who has no answer
};

struct HostName {
  std::string text;
  std::string where = {};  // the file and line it stands in
  std::string error = {};
};

std::optional<Secret> PasswordFromCredentials() {
  const char* directory = getenv("CREDENTIALS_DIRECTORY");
  if (directory == nullptr) return std::nullopt;
  const std::string path = std::string(directory) + "/zem-password";
  if (access(path.c_str(), F_OK) != 0) return std::nullopt;
  // The service manager sets the mode, and grants access by other means than that.
  return ReadPasswordFile(path, Privacy::kAnyMode);
}

// The sources that serve every host, in their order.
std::optional<Secret> CommonPassword(const Options& options, Sources* sources) {
  std::optional<Secret> environment = TakeEnvironmentPassword();
  if (options.no_password) return Secret();
  if (!options.password_file.empty()) {
    return ReadPasswordFile(options.password_file, Privacy::kOwnerOnly);
  }
  if (sources->agent) {
    // No agent starts without one.
    if (sources->agent->password.View().empty()) {
      throw std::runtime_error(options.agent_config + " names no password");
    }
    return std::move(sources->agent->password);
  }
  if (std::optional<Secret> credentials = PasswordFromCredentials()) return credentials;
  return environment;
}

Sources ReadSources(const Options& options) {
  Sources sources;
  if (!options.agent_config.empty()) sources.agent = ReadAgentConfig(options.agent_config);
  if (!options.hosts_conf.empty()) {
    sources.conf = HostsConf::Read(options.hosts_conf);
  } else if (std::optional<HostsConf> found = HostsConf::ReadDefault(options.shared_hosts_conf)) {
    sources.conf = std::move(*found);
  }
  sources.password = CommonPassword(options, &sources);
  return sources;
}

// A host of two groups is asked once.
std::vector<HostName> WithoutGroups(const std::vector<HostName>& names, const HostsConf& conf) {
  std::vector<HostName> hosts;
  std::unordered_set<std::string> known;
  for (const HostName& name : names) {
    if (!IsGroup(name.text)) {
      hosts.push_back(name);
      known.insert(name.text);
      continue;
    }
    try {
      for (const std::string& host : conf.Group(name.text)) {
        if (known.insert(host).second) hosts.push_back({host, name.text + ", "});
      }
    } catch (const std::runtime_error& error) {
      if (name.where.empty()) throw;
      hosts.push_back({name.text, name.where, error.what()});
    }
  }
  return hosts;
}

std::vector<HostName> HostNames(const Options& options, const Sources& sources) {
  std::vector<HostName> names;
  names.reserve(options.hosts.size());
  for (const std::string& host : options.hosts) names.push_back({host});
  if (!options.hosts_file.empty()) {
    const Secret file = ReadSecretFile(options.hosts_file, Privacy::kAnyMode);
    std::string_view rest = file.View();
    std::string_view whole;
    for (int number = 1; TakePiece(&rest, "\n", &whole); ++number) {
      const std::string_view line = Trimmed(whole.substr(0, whole.find('#')));
      if (line.empty()) continue;
      names.push_back({std::string(line), fmt::format("{} line {}, ", options.hosts_file, number)});
    }
    if (names.size() == options.hosts.size()) {
      throw std::runtime_error((options.hosts_file == "-" ? "standard input" : options.hosts_file) +
                               " names no host");
    }
  }
  if (names.empty()) {
    const bool bound = sources.agent && !sources.agent->host.empty();
    names.push_back({bound ? sources.agent->host : kLocalHost});
  }
  return WithoutGroups(names, sources.conf);
}

Endpoint FindEndpoint(const std::string& host, int named_port, const Options& options,
                      const Sources& sources) {
  Endpoint endpoint;
  endpoint.host = sources.conf.Address(host).value_or(host);
  endpoint.source =
      !options.source.empty() ? options.source : sources.conf.Source(host).value_or("");
  const int agent_port = sources.agent ? sources.agent->port : 0;
  if (named_port != 0) {
    endpoint.port = named_port;
  } else if (options.port) {
    endpoint.port = *options.port;
  } else if (agent_port > 0 && agent_port <= 65535) {
    endpoint.port = agent_port;
  } else {
    endpoint.port = sources.conf.Port(host).value_or(kDefaultPort);
  }
  return endpoint;
}

// Prompts once, whatever the number of hosts.
Secret PasswordOf(const std::string& host, const Options& options, Sources* sources) {
  if (sources->password) return sources->password->Copy();
  if (std::optional<Secret> own = sources->conf.Password(host)) return std::move(*own);
  if (!options.plugin && !sources->asked) {
    sources->password = PromptForPassword("Agent password: ");
    sources->asked = true;
  }
  if (sources->password) return sources->password->Copy();
  const std::string& shared = options.shared_hosts_conf;
  const bool closed = access(shared.c_str(), R_OK) != 0 && errno == EACCES;
  throw std::runtime_error("no password for " + host +
                           ": use --password-file, ZEM_PASSWORD, ~/.config/zem/hosts.conf or " +
                           shared + (closed ? ", which this user may not read" : ""));
}

Target MakeTarget(const HostName& name, const Options& options, Sources* sources) {
  Target target;
  target.name = name.text;
  target.error = name.error.empty() ? "" : name.where + name.error;
  if (!target.error.empty()) return target;
  try {
    std::string host;
    int port = 0;
    SplitHostPort(name.text, &host, &port);
    target.endpoint = FindEndpoint(host, port, options, *sources);
    target.password = PasswordOf(host, options, sources);
  } catch (const std::invalid_argument& error) {
    target.error = fmt::format("{}\"{}\": {}", name.where, name.text, error.what());
  } catch (const std::runtime_error& error) {
    target.error = name.where + error.what();
  }
  return target;
}

}  // namespace

std::optional<Secret> TakeEnvironmentPassword() {
  char* value = getenv("ZEM_PASSWORD");
  // An empty one is mostly a variable of a script that was not set.
  if (value == nullptr || *value == '\0') return std::nullopt;
  Secret password{std::string_view(value)};
  // The bytes themselves go too: others may read a process's first environment.
  explicit_bzero(value, strlen(value));
  unsetenv("ZEM_PASSWORD");
  return password;
}

void SplitHostPort(const std::string& text, std::string* host, int* port) {
  static constexpr const char* kNoHost = "not HOST or HOST:PORT";
  *host = text;
  *port = 0;
  if (text.empty() || text.find_first_of(" \t") != std::string::npos)
    throw std::invalid_argument(kNoHost);
  const size_t colon = text.rfind(':');
  std::string number;
  if (text.front() == '[') {
    const size_t bracket = text.find(']');
    if (bracket == std::string::npos) throw std::invalid_argument("no closing bracket");
    *host = text.substr(1, bracket - 1);
    if (bracket + 1 == text.size()) return;
    if (text[bracket + 1] != ':') throw std::invalid_argument(kNoHost);
    number = text.substr(bracket + 2);
  } else if (colon != std::string::npos && text.find(':') == colon) {
    *host = text.substr(0, colon);
    number = text.substr(colon + 1);
  } else {
    return;  // a name, or a bare IPv6 address
  }
  *port = static_cast<int>(WholeNumber("port", number, 1, 65535));
  if (host->empty()) throw std::invalid_argument(kNoHost);
}

std::vector<Target> FindTargets(const Options& options) {
  Sources sources = ReadSources(options);
  std::vector<Target> targets;
  for (const HostName& name : HostNames(options, sources)) {
    targets.push_back(MakeTarget(name, options, &sources));
  }
  // One of many must not stop the others.
  const std::string& error = targets.front().error;
  if (targets.size() == 1 && !error.empty()) throw std::runtime_error(error);
  return targets;
}

}  // namespace zem::client
