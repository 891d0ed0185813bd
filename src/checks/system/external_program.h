// SPDX-License-Identifier: BSD-2-Clause
// Runs a command line of the server's and reports the program's exit code.
//
// Threads: any; blocks for the whole run.

#ifndef ZEM_CHECKS_SYSTEM_EXTERNAL_PROGRAM_H_
#define ZEM_CHECKS_SYSTEM_EXTERNAL_PROGRAM_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void CheckExternalProgram(const AgentRequest& request, const RequestContext& context,
                          AgentReply* reply);

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_EXTERNAL_PROGRAM_H_
