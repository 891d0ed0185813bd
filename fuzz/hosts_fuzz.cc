// SPDX-License-Identifier: BSD-2-Clause
// A list of hosts from anywhere: it is refused with its file and line, or every question about a
// host is answered as by a slow reader that asks each line anew.
//
// An input is the name of a host, a line feed, the list.
#include <fnmatch.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>

#include "app/hosts_conf.h"
#include "fuzz.h"
#include "inside.h"
#include "memory_tree.h"
#include "text/ovstring.h"

namespace zem::client {
namespace {

constexpr const char* kPasswordFile = "/password";
constexpr const char* kPath = "hosts.conf";

struct Found {
  std::string_view key;
  std::string value;
};

// What the first section of that host that has one of these keys says; its last line counts.
std::optional<Found> FindLine(std::string_view list, const std::string& host,
                              std::initializer_list<std::string_view> keys) {
  std::optional<Found> found;
  bool applies = false;
  while (!list.empty()) {
    const size_t end = std::min(list.find('\n'), list.size());
    const std::string_view line = Trimmed(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
    if (line.empty() || strchr("#;", line.front()) != nullptr) continue;
    if (line.starts_with('[') && line.ends_with(']')) {
      if (found) return found;
      const std::string pattern(Trimmed(line.substr(1, line.size() - 2)));
      applies = fnmatch(pattern.c_str(), host.c_str(), 0) == 0;
    } else if (const std::string_view key = Trimmed(line.substr(0, line.find('=')));
               applies && std::find(keys.begin(), keys.end(), key) != keys.end()) {
      found = {key, std::string(Trimmed(line.substr(line.find('=') + 1)))};
    }
  }
  return found;
}

std::optional<std::string> FindSlowly(std::string_view list, const std::string& host,
                                      std::string_view key) {
  const std::optional<Found> found = FindLine(list, host, {key});
  return found ? std::optional(found->value) : std::nullopt;
}

void CheckPassword(const HostsConf& conf, std::string_view list, const std::string& host) {
  const std::optional<Found> expected = FindLine(list, host, {"password", "password-file"});
  const bool is_file = expected && expected->key == "password-file";
  try {
    const std::optional<Secret> password = conf.Password(host);
    FUZZ_CHECK(password.has_value() == expected.has_value());
    if (expected) FUZZ_CHECK(password->View() == (is_file ? "from the file" : expected->value));
  } catch (const std::runtime_error& error) {
    FUZZ_CHECK(is_file && expected->value != kPasswordFile && *error.what() != '\0');
  }
}

void Try(std::string_view list, const std::string& host) {
  HostsConf conf;
  try {
    conf = HostsConf::Parse(list, kPath);
  } catch (const std::runtime_error& error) {
    FUZZ_CHECK(std::string_view(error.what()).starts_with("hosts.conf line "));
    return;
  }
  FUZZ_CHECK(conf.Address(host) == FindSlowly(list, host, "address"));
  FUZZ_CHECK(conf.Source(host) == FindSlowly(list, host, "source"));
  const std::optional<int> port = conf.Port(host);
  const std::optional<std::string> expected = FindSlowly(list, host, "port");
  FUZZ_CHECK(port.has_value() == expected.has_value());
  if (port) FUZZ_CHECK(*port >= 1 && *port <= 65535 && *port == std::stoi(*expected));
  CheckPassword(conf, list, host);
}

}  // namespace
}  // namespace zem::client

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool filled = false;
  if (!filled) zem::PutFile(zem::client::kPasswordFile, "from the file\n", 0600);
  filled = true;
  const std::string_view input = zem::Text(data, size);
  const size_t end = std::min(input.find('\n'), size);
  const zem::Inside inside;
  zem::client::Try(input.substr(std::min(end + 1, size)), std::string(input.substr(0, end)));
  return 0;
}
