// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/external_program.h"

#include "checks/system/process_runner.h"

namespace zem {

void CheckExternalProgram(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const OvString command = request.GetLine(1);  // line 2 is not used
  const auto timeout_ms = request.GetNumberLine(4);
  if (!timeout_ms) return reply->Refuse(status::kWrongParameters, kWrongParameter);
  if (command.IsEmpty()) {
    // Deliberate: the bare status, without a message. The action that runs commands has one.
    reply->SetStatus(status::kWrongParameters);
    return;
  }
  ReportProgram(command, nullptr, *timeout_ms, reply);
}

void ReportProgram(const OvString& command, const char* working_directory, int32_t timeout_ms,
                   AgentReply* reply) {
  int32_t exit_code = 0;
  OvString error;
  if (!RunQuietProcess({.command_line = command.CStr(),
                        .working_directory = working_directory,
                        .timeout_ms = timeout_ms},
                       &exit_code, &error)) {
    return reply->Refuse(status::kUnavailable, error);
  }
  reply->SetStatus(status::kDone).AddInt(exit_code);
}

}  // namespace zem
