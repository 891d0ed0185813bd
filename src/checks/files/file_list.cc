// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/file_list.h"

#include <cstdint>
#include <cstring>

#include "checks/files/directory_walker.h"
#include "text/file_info.h"
#include "text/path.h"

namespace zem {

namespace {

void AddEntry(const FileListQuery& query, const SearchRecord& record, AgentReply* lines) {
  lines->AddLine(record.name);
  lines->AddInt(static_cast<int>(record.attributes));
  if (query.sizes) lines->AddNumber(static_cast<double>(record.size));
  if (query.change_times) lines->AddTime(record.change_time);
  if (query.modification_times) lines->AddTime(record.time);
}

// Links are never listed, read-only entries always.
uint32_t RequestedAttributes(const FileListQuery& query) {
  uint32_t requested = attribute::kEverything;
  if (!query.hidden) requested &= ~attribute::kHidden;
  if (!query.system) requested &= ~attribute::kSystem;
  return requested;
}

// One half of the list: the folders, or the files.
int ListHalf(const FileListQuery& query, SearchScope scope, const OvString& mask,
             AgentReply* lines) {
  const bool want_folders = scope == SearchScope::kDirectories;
  SearchRecord record;
  record.scope = scope;
  int count = 0;
  for (int found = FindFirst(query.folder, mask, RequestedAttributes(query), &record); found == 0;
       found = FindNext(&record)) {
    if (((record.attributes & attribute::kDirectory) != 0) != want_folders) continue;
    // The way up is listed; the folder itself is not.
    if (want_folders && strcmp(record.name, ".") == 0) continue;
    AddEntry(query, record, lines);
    ++count;
  }
  return count;
}

}  // namespace

OvString ListedFolder(const OvString& folder) {
  if (folder.IsEmpty()) return "/";
  if (folder.View().back() == '/' || DirectoryExists(folder)) {
    return IncludeTrailingPathDelimiter(folder);
  }
  return IncludeTrailingPathDelimiter(ExtractFilePath(folder));
}

int ListEntries(const FileListQuery& query, AgentReply* lines) {
  int count = 0;
  // The mask is for files: folders are listed to lead further.
  if (query.folders) count += ListHalf(query, SearchScope::kDirectories, "*", lines);
  if (query.files) {
    count += ListHalf(query, SearchScope::kFiles, query.mask.IsEmpty() ? "*" : query.mask, lines);
  }
  return count;
}

void ListFiles(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const FileListQuery query = {.folder = ListedFolder(request.GetLine(1)),
                               .mask = request.GetLine(2),
                               .folders = request.GetFlagLine(3),
                               .files = request.GetFlagLine(4),
                               .hidden = request.GetFlagLine(5),
                               .system = request.GetFlagLine(6),
                               .sizes = request.GetFlagLine(7),
                               .change_times = request.GetFlagLine(8),
                               .modification_times = request.GetFlagLine(9)};
  AgentReply lines;
  const int count = ListEntries(query, &lines);
  reply->SetStatus(status::kDone);
  reply->AddLine(query.folder);
  reply->AddInt(count);
  // How the server tells one entry's lines from the next one's.
  reply->AddInt(2 + int{query.sizes} + int{query.change_times} + int{query.modification_times});
  reply->Append(lines.Text());
}

}  // namespace zem
