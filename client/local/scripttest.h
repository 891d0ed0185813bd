// SPDX-License-Identifier: BSD-2-Clause
// scripttest: runs the administrator's three scripts exactly as the agent does, and says what the
// agent would answer.

#ifndef ZEM_CLIENT_LOCAL_SCRIPTTEST_H_
#define ZEM_CLIENT_LOCAL_SCRIPTTEST_H_

#include "local/local_command.h"

namespace zem::client {

extern const LocalCommand kScripttestCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_LOCAL_SCRIPTTEST_H_
