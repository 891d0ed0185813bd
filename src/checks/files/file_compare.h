// SPDX-License-Identifier: BSD-2-Clause
// One yes/no question about a file: does it equal another, hold another, or hold a text.
//
// Threads: any.

#ifndef ZEM_CHECKS_FILES_FILE_COMPARE_H_
#define ZEM_CHECKS_FILES_FILE_COMPARE_H_

#include "checks/files/text_search.h"
#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"
#include "text/ovstring.h"

namespace zem {

// Deliberate: only as many bytes as the shorter file has are compared, so a file equals every
// longer one that begins with it. The size is compared apart from the contents, on request.
Answer CompareContents(const OvString& first, const OvString& second);

struct MatchQuery {
  bool time = false;
  bool size = false;
  bool contents = false;
};

// Whether two files match in everything asked for; yes when nothing is.
Answer MatchFiles(const OvString& first, const OvString& second, const MatchQuery& query);

// Request: 1 the mode; 2 the first file; 3 the second file or the text; further lines by mode.
void CheckFileCompare(const AgentRequest& request, const RequestContext& context,
                      AgentReply* reply);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_FILE_COMPARE_H_
