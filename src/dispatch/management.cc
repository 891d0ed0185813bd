// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/management.h"

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

}  // namespace zem
