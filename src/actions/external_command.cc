// SPDX-License-Identifier: BSD-2-Clause
#include "actions/external_command.h"

#include "checks/system/external_program.h"

namespace zem {

void RunExternalCommand(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const OvString command = request.GetLine(1);
  const OvString working_directory = request.GetLine(2);
  const auto unused = request.GetNumberLine(3);  // has to be a number, whatever its value
  const auto timeout_ms = request.GetNumberLine(4);
  if (!unused || !timeout_ms) return reply->Refuse(status::kWrongParameters, kWrongParameter);
  if (command.IsEmpty()) {
    return reply->Refuse(status::kWrongParameters, "Command line to execute is not specified");
  }
  // An empty folder is handed on: changing to it fails, and the program runs in the agent's own.
  ReportProgram(command, working_directory.CStr(), *timeout_ms, reply);
}

}  // namespace zem
