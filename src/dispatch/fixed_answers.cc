// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/fixed_answers.h"

namespace zem {

void NotImplementedYet(const AgentRequest&, const RequestContext&, AgentReply* reply) {
  reply->SetStatus(status::kUnknown).Append("not implemented yet");
}

void NotApplicable(const AgentRequest&, const RequestContext&, AgentReply* reply) {
  reply->SetStatus(status::kUnknown).Append("Not applicable for UNIX/Linux");
}

}  // namespace zem
