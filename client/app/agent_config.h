// SPDX-License-Identifier: BSD-2-Clause
// What a client on the agent's own host needs of the agent's configuration file.
//
// Read key by key: unlike the agent's own load this neither demands a complete file nor exports a
// temporary directory.
// Errors:  std::runtime_error, naming the file.

#ifndef ZEM_CLIENT_APP_AGENT_CONFIG_H_
#define ZEM_CLIENT_APP_AGENT_CONFIG_H_

#include <string>

#include "model/secret.h"

namespace zem::client {

struct AgentConfig {
  std::string host;  // empty = all addresses
  int port = 0;      // 0 = not in the file
  Secret password;
};

AgentConfig ReadAgentConfig(const std::string& path);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_AGENT_CONFIG_H_
