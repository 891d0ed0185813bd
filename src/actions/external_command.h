// SPDX-License-Identifier: BSD-2-Clause
// Runs a command line of the server's in a folder that it names.
//
// Threads: any; blocks for the run.

#ifndef ZEM_ACTIONS_EXTERNAL_COMMAND_H_
#define ZEM_ACTIONS_EXTERNAL_COMMAND_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void RunExternalCommand(const AgentRequest& request, const RequestContext& context,
                        AgentReply* reply);

}  // namespace zem

#endif  // ZEM_ACTIONS_EXTERNAL_COMMAND_H_
