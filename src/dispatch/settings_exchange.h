// SPDX-License-Identifier: BSD-2-Clause
// The settings as the monitoring server reads and writes them.

#ifndef ZEM_DISPATCH_SETTINGS_EXCHANGE_H_
#define ZEM_DISPATCH_SETTINGS_EXCHANGE_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

// The agent information, then the settings it does not hold, the password among them.
void GetSettings(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

// Lines name=value, live at once and then saved. No value is judged and unknown names are passed
// over; only a failed save is reported, and the values stay live even then.
void SetSettings(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_DISPATCH_SETTINGS_EXCHANGE_H_
