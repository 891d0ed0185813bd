// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/external_program.h"

#include "checks/system/process_runner.h"

namespace zem {

namespace {

constexpr const char* kWrongParameter = "Wrong parameter";

}  // namespace

void CheckExternalProgram(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const OvString command = request.GetLine(1);  // line 2 is not used
  const auto timeout_ms = request.GetNumberLine(4);
  if (!timeout_ms) {
    reply->SetStatus(status::kWrongParameters).Append(kWrongParameter);
    return;
  }
  if (command.IsEmpty()) {
    // Deliberate: the bare status, without a message. The action that runs commands has one.
    reply->SetStatus(status::kWrongParameters);
    return;
  }
  int32_t exit_code = 0;
  OvString error;
  if (RunQuietProcess(command.CStr(), nullptr, *timeout_ms, &exit_code, &error)) {
    reply->SetStatus(status::kDone).AddInt(exit_code);
  } else {
    reply->SetStatus(status::kUnavailable).Append(error);
  }
}

}  // namespace zem
