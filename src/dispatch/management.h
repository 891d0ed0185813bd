// SPDX-License-Identifier: BSD-2-Clause
// Reload, restart and stop on request. The last two only note the wish: the main thread acts on it
// once the answer is out and the session closed.

#ifndef ZEM_DISPATCH_MANAGEMENT_H_
#define ZEM_DISPATCH_MANAGEMENT_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void ReloadConfiguration(const AgentRequest& request, const RequestContext& context,
                         AgentReply* reply);
void RestartAgent(const AgentRequest& request, const RequestContext& context, AgentReply* reply);
void QuitAgent(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_DISPATCH_MANAGEMENT_H_
