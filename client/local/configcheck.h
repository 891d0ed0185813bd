// SPDX-License-Identifier: BSD-2-Clause
// configcheck: what the agent's loader would say about a configuration, and what it would not.

#ifndef ZEM_CLIENT_LOCAL_CONFIGCHECK_H_
#define ZEM_CLIENT_LOCAL_CONFIGCHECK_H_

#include "local/local_command.h"

namespace zem::client {

extern const LocalCommand kConfigcheckCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_LOCAL_CONFIGCHECK_H_
