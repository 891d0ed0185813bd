// SPDX-License-Identifier: BSD-2-Clause
// Whether a file (or any other entry) is there, with its size, its times and its age.
//
// Threads: any.

#ifndef ZEM_CHECKS_FILES_FILE_EXISTS_H_
#define ZEM_CHECKS_FILES_FILE_EXISTS_H_

#include <sys/stat.h>

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"
#include "text/ovstring.h"

namespace zem {

// Examines the entry at the path itself, a final link not followed; where there is none, the first
// file that the path's name part matches as a wildcard, and the path becomes that file's. A file
// whose real name holds wildcards is therefore found as it is.
[[nodiscard]] bool ExamineFile(OvString* path, struct stat* info);

// Request: 1 the path, 7 whether its file macros are resolved.
void CheckFileExists(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_FILE_EXISTS_H_
