// SPDX-License-Identifier: BSD-2-Clause
// Runs a command line of the server's and reports the program's exit code.
//
// Threads: any; blocks for the whole run.

#ifndef ZEM_CHECKS_SYSTEM_EXTERNAL_PROGRAM_H_
#define ZEM_CHECKS_SYSTEM_EXTERNAL_PROGRAM_H_

#include <cstdint>

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void CheckExternalProgram(const AgentRequest& request, const RequestContext& context,
                          AgentReply* reply);

// Runs the program and reports its exit code, or why there is none: the check's answer and that of
// the action that runs commands.
void ReportProgram(const OvString& command, const char* working_directory, int32_t timeout_ms,
                   AgentReply* reply);

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_EXTERNAL_PROGRAM_H_
