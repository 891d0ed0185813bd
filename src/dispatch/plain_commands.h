// SPDX-License-Identifier: BSD-2-Clause
// The commands without parameters and without figures: reload, restart and stop, and those that the
// protocol has and this platform has not. Restart and stop only note the wish: the main thread acts
// on it once the answer is out and the session closed.

#ifndef ZEM_DISPATCH_PLAIN_COMMANDS_H_
#define ZEM_DISPATCH_PLAIN_COMMANDS_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void ReloadConfiguration(const AgentRequest& request, const RequestContext& context,
                         AgentReply* reply);
void RestartAgent(const AgentRequest& request, const RequestContext& context, AgentReply* reply);
void QuitAgent(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

void NotImplementedYet(const AgentRequest& request, const RequestContext& context,
                       AgentReply* reply);
void NotApplicable(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_DISPATCH_PLAIN_COMMANDS_H_
