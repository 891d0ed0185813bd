// SPDX-License-Identifier: BSD-2-Clause
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "app/hosts_conf.h"
#include "app/targets.h"
#include "local/local_command.h"
#include "output/table.h"
#include "wire/connection.h"

namespace zem::client {

namespace {

constexpr int kAgentPort = 1055;

constexpr Argument kHostsArguments[] = {
    {"file", "file,--file", ArgumentKind::kOptional, "FILE", "instead of yours and the system's",
     kLocalFile},
    {"prometheus-sd", "--prometheus-sd", ArgumentKind::kFlag, "",
     "as Prometheus' file_sd reads it, for zem-exporter"},
};

// The hosts that have a section, then those that a group alone names; each with its groups, as
// ",web,db,": a whole name in it is found between commas.
std::vector<std::pair<std::string, std::string>> HostsAndGroups(const HostsConf& conf) {
  std::vector<std::pair<std::string, std::string>> hosts;
  std::map<std::string, size_t> places;
  const auto groups_of = [&](const std::string& host) -> std::string& {
    const auto [place, is_new] = places.emplace(host, hosts.size());
    if (is_new) hosts.emplace_back(host, "");
    return hosts[place->second].second;
  };
  for (const std::string& host : conf.Names()) (void)groups_of(host);
  for (const std::string& group : conf.Names(true)) {
    const std::string added = group.substr(1) + ',';
    for (const std::string& host : conf.Members(group)) {
      std::string& groups = groups_of(host);
      if (groups.empty()) groups = ",";
      if (groups.find(',' + added) == std::string::npos) groups += added;
    }
  }
  return hosts;
}

LocalResult Hosts(const Arguments& arguments) {
  constexpr const char* kShared = ZEM_CONFDIR "/hosts.conf";
  const std::optional<HostsConf> conf = arguments.Has("file")
                                            ? HostsConf::Read(arguments.Text("file"))
                                            : HostsConf::ReadDefault(kShared);
  if (!conf) {
    throw std::invalid_argument(
        fmt::format("FILE is missing: there is neither ~/.config/zem/hosts.conf nor {}", kShared));
  }
  const bool for_prometheus = arguments.Has("prometheus-sd");
  List list;
  LocalResult result;
  for (const auto& [name, groups] : HostsAndGroups(*conf)) {
    Endpoint endpoint;
    int port = 0;
    try {
      SplitHostPort(name, &endpoint.host, &port);
    } catch (const std::invalid_argument& error) {
      throw std::runtime_error(fmt::format("hosts.conf: \"{}\": {}", name, error.what()));
    }
    endpoint.port = port != 0 ? port : conf->Port(endpoint.host).value_or(kAgentPort);
    endpoint.host = conf->Address(endpoint.host).value_or(endpoint.host);
    const std::string where = Display(endpoint);
    result.text += fmt::format("{} {}\n", name, where);
    Record labels = {{"alias", name}};
    if (!groups.empty()) labels.emplace_back("groups", groups);
    list.push_back(for_prometheus ? Record{{"targets", List{where}}, {"labels", labels}}
                                  : Record{{"name", name}, {"target", where}});
  }
  result.result = std::move(list);
  if (for_prometheus) result.text = ToJson(result.result) + '\n';
  return result;
}

}  // namespace

const Command kHostsCommand = {
    .name = "hosts",
    .summary = "list the hosts that hosts.conf names, without passwords",
    .arguments = kHostsArguments,
    .run = Hosts,
    .notes = "Sections that are patterns are left out.",
};

}  // namespace zem::client
