// SPDX-License-Identifier: BSD-2-Clause
// Processes and CPU load of the host, told by scripts of the administrator.
//
// The agent has no idea of the host's process table: the configuration names a script for each
// question, and the handlers read back what it prints.
// Threads: any; block until the script ends (the CPU script at most nine seconds).

#ifndef ZEM_CHECKS_SYSTEM_PROCESS_CHECK_H_
#define ZEM_CHECKS_SYSTEM_PROCESS_CHECK_H_

#include <cstdint>
#include <cstdio>
#include <optional>

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

// How many processes of the name in line 2 run.
void CheckProcess(const AgentRequest& request, const RequestContext& context, AgentReply* reply);
// The CPU usage as the script printed it.
void CheckCpu(const AgentRequest& request, const RequestContext& context, AgentReply* reply);
// One line with the names of all processes.
void ListProcesses(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

// The first number of a stream, as the C library reads "%d": leading white space, one sign, digits;
// a value beyond 64 bits is clamped there, then cut to 32. Nothing when there is no number.
std::optional<int32_t> ReadInteger(FILE* file);

// Every line that is not empty, each with CR LF behind it; the last line may come twice.
OvString ReadProcessList(FILE* file);

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_PROCESS_CHECK_H_
