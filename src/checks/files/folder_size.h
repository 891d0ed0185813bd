// SPDX-License-Identifier: BSD-2-Clause
// The total size of the files in a folder, or in a folder and all its sub-folders, that match a
// mask.
//
// Threads: any.

#ifndef ZEM_CHECKS_FILES_FOLDER_SIZE_H_
#define ZEM_CHECKS_FILES_FOLDER_SIZE_H_

#include <optional>

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"
#include "text/ovstring.h"

namespace zem {

// Bytes in everything that is neither a directory nor a link, summed as doubles in the order of
// the walk; nothing when the folder cannot be searched. A sub-folder that cannot be adds nothing.
// The path is a folder, or a folder, "/" and a mask. Sub-folders are entered whatever their name.
std::optional<double> MeasureFolder(const OvString& path, bool with_subfolders);

// Request: 1 the path, 2 whether sub-folders count, 8 whether file macros are resolved.
void CheckFolderSize(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_FOLDER_SIZE_H_
