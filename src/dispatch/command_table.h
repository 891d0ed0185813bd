// SPDX-License-Identifier: BSD-2-Clause
// The command words of the protocol, each with its handler and its gate.

#ifndef ZEM_DISPATCH_COMMAND_TABLE_H_
#define ZEM_DISPATCH_COMMAND_TABLE_H_

#include <span>
#include <string_view>

#include "core/request_context.h"
#include "dispatch/gate.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

// Takes its parameters from the request and fills the reply, the status first. Runs on the
// session's thread and may block it.
using Handler = void (*)(const AgentRequest& request, const RequestContext& context,
                         AgentReply* reply);

struct CommandRow {
  std::string_view word;
  Handler handler;
  Gate gate;
};

std::span<const CommandRow> CommandTable();

// The row whose word is exactly `word`, or null.
const CommandRow* FindCommand(std::string_view word);

}  // namespace zem

#endif  // ZEM_DISPATCH_COMMAND_TABLE_H_
