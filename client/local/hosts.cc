// SPDX-License-Identifier: BSD-2-Clause
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

#include "app/hosts_conf.h"
#include "local/local_command.h"
#include "output/json.h"
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
  for (const std::string& name : conf->Names()) {
    Endpoint endpoint;
    endpoint.host = conf->Address(name).value_or(name);
    endpoint.port = conf->Port(name).value_or(kAgentPort);
    const std::string where = Display(endpoint);
    result.text += fmt::format("{} {}\n", name, where);
    list.push_back(
        for_prometheus
            ? Value::Of(Record{{"targets", Value::Of(List{Value::Text(where)})},
                               {"labels", Value::Of(Record{{"alias", Value::Text(name)}})}})
            : Value::Of(Record{{"name", Value::Text(name)}, {"target", Value::Text(where)}}));
  }
  result.result = Value::Of(std::move(list));
  if (for_prometheus) result.text = ToJson(result.result) + '\n';
  return result;
}

}  // namespace

const LocalCommand kHostsCommand = {
    .name = "hosts",
    .summary = "list the hosts that hosts.conf names, without passwords",
    .arguments = kHostsArguments,
    .run = Hosts,
    .notes = "Sections that are patterns are left out.",
};

}  // namespace zem::client
