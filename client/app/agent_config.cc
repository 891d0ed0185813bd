// SPDX-License-Identifier: BSD-2-Clause
#include "app/agent_config.h"

#include <stdexcept>

#include "core/config_file.h"
#include "model/secret_file.h"
#include "text/numbers.h"

namespace zem::client {

AgentConfig ReadAgentConfig(const std::string& path) {
  const Secret whole = ReadSecretFile(path, Privacy::kAnyMode);
  std::string_view rest = whole.View();
  AgentConfig config;
  while (!rest.empty()) {
    // As the agent reads: pieces of a fixed size, each a line of its own.
    const size_t end = rest.substr(0, kLongestConfigLine).find('\n');
    const size_t length =
        end == std::string_view::npos ? std::min(rest.size(), kLongestConfigLine) : end + 1;
    ConfigLine line;
    if (ParseConfigLine(rest.substr(0, length), &line)) {
      if (line.key == "host") config.host = line.value;
      // The agent keeps the first port it finds.
      if (line.key == "port" && config.port == 0) config.port = ParseInt(line.value);
      if (line.key == "password") config.password = Secret(line.value);
    }
    rest.remove_prefix(length);
  }
  return config;
}

}  // namespace zem::client
