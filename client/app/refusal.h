// SPDX-License-Identifier: BSD-2-Clause
// What an agent's refusal means: as it was sent, and to somebody who does not know the protocol.
//
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_APP_REFUSAL_H_
#define ZEM_CLIENT_APP_REFUSAL_H_

#include <string>

#include "commands/command.h"

namespace zem::client {

// The status and the agent's words.
std::string RefusalText(const Reply& reply);
// What a check was asked about, such as "web1:25"; may be empty.
std::string SubjectOf(const Command& command, const Arguments& arguments);
// That, and why there is no answer, in the words of this side.
std::string RefusalMeaning(const Command& command, const Arguments& arguments, const Reply& reply);
// Names the configuration key behind a refusal, where there is one.
std::string HintFor(const Command& command, const Reply& reply);
// Whether it says nothing of what was asked for, but of a limit of the agent.
bool IsLimitOfAgent(const Reply& reply);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_REFUSAL_H_
