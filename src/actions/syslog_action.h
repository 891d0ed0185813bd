// SPDX-License-Identifier: BSD-2-Clause
// Sends one syslog datagram to a server that the request names.
//
// Threads: any.

#ifndef ZEM_ACTIONS_SYSLOG_ACTION_H_
#define ZEM_ACTIONS_SYSLOG_ACTION_H_

#include <cstdint>
#include <ctime>
#include <string_view>

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void SendSyslog(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

struct SyslogMessage {
  int32_t facility = 0;  // any value
  int32_t severity = 0;
  std::string_view tag;
  std::string_view text;  // line breaks and all, of any length
};

// The bytes of the datagram for a moment in local time and a sender's dotted address.
OvString SyslogDatagram(const SyslogMessage& message, const struct tm& local_time,
                        std::string_view sender);

// What UdpExchange returns for the datagram, sent now from this host.
int SyslogSend(const OvString& host, int32_t port, const SyslogMessage& message, OvString* error);

}  // namespace zem

#endif  // ZEM_ACTIONS_SYSLOG_ACTION_H_
