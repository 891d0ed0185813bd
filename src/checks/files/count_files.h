// SPDX-License-Identifier: BSD-2-Clause
// How many files, or sub-folders, of a folder match a mask and one condition on age or size.
//
// Threads: any.

#ifndef ZEM_CHECKS_FILES_COUNT_FILES_H_
#define ZEM_CHECKS_FILES_COUNT_FILES_H_

#include <cstdint>
#include <ctime>
#include <optional>

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"
#include "text/ovstring.h"

namespace zem {

// By their numbers in the request. In every mode but the last directories do not count.
enum class CountMode : int {
  kAllFiles = 0,
  kOlderThan = 1,   // last modified in a minute before the limit's
  kNewerThan = 2,   // ... after it; a file of that very minute counts in neither mode
  kBiggerThan = 3,  // than the limit
  kSmallerThan = 4,
  kSubFolders = 5,
};

struct CountQuery {
  CountMode mode = CountMode::kAllFiles;
  int32_t limit = 0;  // minutes of age, or bytes
  bool with_subfolders = false;
};

// Nothing when the folder cannot be searched. `now` is the moment from which ages are reckoned.
std::optional<int64_t> CountFiles(const OvString& folder, const OvString& mask,
                                  const CountQuery& query, time_t now);

// Request: 1 folder, 2 mask, 3 whether sub-folders are entered, 4 mode, 5 limit, 11 whether file
// macros are resolved.
void CheckCountFiles(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_COUNT_FILES_H_
