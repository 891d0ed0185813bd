// SPDX-License-Identifier: BSD-2-Clause
// Probes of a TCP or UDP service from the agent's side of the network.
//
// Threads: any; block for at most the time-out a wait.

#ifndef ZEM_CHECKS_SYSTEM_TCP_UDP_CHECK_H_
#define ZEM_CHECKS_SYSTEM_TCP_UDP_CHECK_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void CheckTcp(const AgentRequest& request, const RequestContext& context, AgentReply* reply);
void CheckUdp(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_TCP_UDP_CHECK_H_
