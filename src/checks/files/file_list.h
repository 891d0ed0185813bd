// SPDX-License-Identifier: BSD-2-Clause
// The list of a folder's sub-folders and files, from which an operator picks what to check.
//
// Threads: any.

#ifndef ZEM_CHECKS_FILES_FILE_LIST_H_
#define ZEM_CHECKS_FILES_FILE_LIST_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"
#include "text/ovstring.h"

namespace zem {

struct FileListQuery {
  OvString folder;
  OvString mask;  // for files alone; empty means all
  bool folders = false;
  bool files = false;
  bool hidden = false;
  bool system = false;
  bool sizes = false;
  bool change_times = false;
  bool modification_times = false;
};

// The folder that a text means: "/" for none, the folder part of what is no directory. Ends in "/".
OvString ListedFolder(const OvString& folder);

// Appends the lines of every entry of `query.folder`, folders first, and returns how many entries
// there are; a folder that cannot be read has none.
int ListEntries(const FileListQuery& query, AgentReply* lines);

// Request: 1 folder, 2 mask, then a flag for each further member of the query in its order.
void ListFiles(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_FILE_LIST_H_
