// SPDX-License-Identifier: BSD-2-Clause
// Runs a script that arrives with the request and looks for its result line.
//
// Threads: any; blocks for the pause and the run.

#ifndef ZEM_CHECKS_SYSTEM_SHELL_SCRIPT_H_
#define ZEM_CHECKS_SYSTEM_SHELL_SCRIPT_H_

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void CheckShellScript(const AgentRequest& request, const RequestContext& context,
                      AgentReply* reply);

// Replaces a placeholder, in letters of any case, left to right. Deliberate: the search goes on
// only while the rest of the text is longer than the placeholder, so one that makes up the whole
// rest stays as it is.
OvString FillPlaceholder(std::string_view text, std::string_view placeholder,
                         std::string_view value);

struct ScriptOutput {
  OvString result;  // the first line that begins with "scriptres:", else the last one
  OvString lines;   // the first lines, each with CR LF behind it
};

// Lines are trimmed and empty ones do not count. Reading ends with the result line once
// `wanted_lines` lines are there; a negative number wants none and reads to the end.
ScriptOutput ScanScriptOutput(FILE* file, int32_t wanted_lines);

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_SHELL_SCRIPT_H_
