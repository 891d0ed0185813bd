// SPDX-License-Identifier: BSD-2-Clause
// Whom to ask, and with which password: the options, the files and the environment put together.
//
// Errors:  std::runtime_error or std::invalid_argument, with a text for the person.

#ifndef ZEM_CLIENT_APP_TARGETS_H_
#define ZEM_CLIENT_APP_TARGETS_H_

#include <optional>
#include <string>
#include <vector>

#include "app/options.h"
#include "model/secret.h"
#include "wire/connection.h"

namespace zem::client {

struct Target {
  std::string name;  // as the person wrote it
  Endpoint endpoint;
  Secret password;
  std::string error;  // why it cannot be asked; empty = it can
};

// The password of ZEM_PASSWORD, which is wiped there, so that no child inherits it.
std::optional<Secret> TakeEnvironmentPassword();

// At least one, and each of several with its own error. Takes the password out of the environment.
std::vector<Target> FindTargets(const Options& options);

// "host", "host:port" or "[v6 address]:port".
void SplitHostPort(const std::string& text, std::string* host, int* port);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_TARGETS_H_
