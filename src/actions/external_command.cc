// SPDX-License-Identifier: BSD-2-Clause
#include "actions/external_command.h"

#include "checks/system/process_runner.h"

namespace zem {

namespace {

constexpr const char* kWrongParameter = "Wrong parameter";
constexpr const char* kNoCommand = "Command line to execute is not specified";

}  // namespace

void RunExternalCommand(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const OvString command = request.GetLine(1);
  const OvString working_directory = request.GetLine(2);
  const auto unused = request.GetNumberLine(3);  // has to be a number, whatever its value
  const auto timeout_ms = request.GetNumberLine(4);
  if (!unused || !timeout_ms) {
    reply->SetStatus(status::kWrongParameters).Append(kWrongParameter);
    return;
  }
  if (command.IsEmpty()) {
    reply->SetStatus(status::kWrongParameters).Append(kNoCommand);
    return;
  }
  int32_t exit_code = 0;
  OvString error;
  // An empty folder is handed on: changing to it fails, and the program runs in the agent's own.
  if (RunQuietProcess(command.CStr(), working_directory.CStr(), *timeout_ms, &exit_code, &error)) {
    reply->SetStatus(status::kDone).AddInt(exit_code);
  } else {
    reply->SetStatus(status::kUnavailable).Append(error);
  }
}

}  // namespace zem
