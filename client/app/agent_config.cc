// SPDX-License-Identifier: BSD-2-Clause
#include "app/agent_config.h"

#include <stdexcept>

#include "core/config_file.h"
#include "model/local_file.h"
#include "model/secret_file.h"
#include "text/numbers.h"

namespace zem::client {

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

}  // namespace zem::client
