// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/plain_commands.h"

namespace zem {

namespace {

constexpr const char* kOk = "Ok";

}  // namespace

void ReloadConfiguration(const AgentRequest&, const RequestContext& context, AgentReply* reply) {
  OvString error;
  if (context.store->Load(&error)) {
    reply->SetStatus(status::kDone).Append(kOk);
  } else {
    reply->SetStatus(status::kFailed).Append(error);
  }
}

void RestartAgent(const AgentRequest&, const RequestContext& context, AgentReply* reply) {
  reply->SetStatus(status::kDone).Append(kOk);
  context.requests->restart = true;
}

void QuitAgent(const AgentRequest&, const RequestContext& context, AgentReply* reply) {
  reply->SetStatus(status::kDone).Append(kOk);
  context.requests->terminate = true;
}

void NotImplementedYet(const AgentRequest&, const RequestContext&, AgentReply* reply) {
  reply->SetStatus(status::kUnknown).Append("not implemented yet");
}

void NotApplicable(const AgentRequest&, const RequestContext&, AgentReply* reply) {
  reply->SetStatus(status::kUnknown).Append("Not applicable for UNIX/Linux");
}

}  // namespace zem
