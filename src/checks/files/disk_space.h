// SPDX-License-Identifier: BSD-2-Clause
// The size and free space of the file system that holds a path.
//
// Threads: any.

#ifndef ZEM_CHECKS_FILES_DISK_SPACE_H_
#define ZEM_CHECKS_FILES_DISK_SPACE_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"
#include "text/ovstring.h"

namespace zem {

// In bytes, as doubles: counts above 2^53 lose precision. `milliseconds` is what the question took.
struct DiskSpace {
  double total = 0;
  double free = 0;       // the superuser's reserve included
  double available = 0;  // to other users; may be negative
  int milliseconds = 0;
};

// False leaves errno as the system set it.
[[nodiscard]] bool MeasureDiskSpace(const OvString& path, DiskSpace* space);

// Request: the path.
void CheckDiskSpace(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_DISK_SPACE_H_
