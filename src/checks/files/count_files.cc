// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/count_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

#include "checks/files/directory_walker.h"
#include "checks/files/file_macros.h"
#include "checks/files/folder_stack.h"
#include "checks/files/name_mask.h"
#include "text/file_info.h"
#include "text/numbers.h"

namespace zem {

namespace {

constexpr const char* kNoFolder = "Folder doesn`t exist or access denied";
constexpr int kModes = 6;

// Whole minutes since the epoch, toward zero, in the 32 bits in which they are compared.
int32_t Minute(int64_t seconds) {
  return static_cast<int32_t>(seconds / 60);
}

// What one folder gave, apart from the sub-folders put on the stack.
struct FolderCount {
  int64_t counted = 0;
  bool any_match = false;  // whether the mask let any entry at all through
  bool may_descend = false;
};

class CountWalk {
 public:
  CountWalk(DirPtr top, const OvString& mask, const CountQuery& query, time_t now)
      : stack_(std::move(top)),
        mask_(mask),
        query_(query),
        // The difference wraps around in 32 bits rather than overflow.
        limit_minute_(static_cast<int32_t>(static_cast<uint32_t>(Minute(now)) -
                                           static_cast<uint32_t>(query.limit))) {}

  FolderCount Read();
  // Enters all that waits and returns what counts there; nothing when the walk could not be
  // finished.
  std::optional<int64_t> ReadSubfolders();

 private:
  struct Entry {
    const char* name;
    EntryKind kind;
    struct stat info;
    bool examined;
  };

  // False when the entry is none that a search returns: a link, or gone.
  bool Look(const dirent& listed, Entry* entry) const;
  bool Examine(Entry* entry) const;
  bool Counts(Entry* entry) const;
  bool PassesSubfolderFilter(const Entry& entry) const;

  FolderStack stack_;
  const NameMask mask_;
  const CountQuery query_;
  const int32_t limit_minute_;
};

bool CountWalk::Examine(Entry* entry) const {
  if (entry->examined) return true;
  if (fstatat(stack_.Descriptor(), entry->name, &entry->info, AT_SYMLINK_NOFOLLOW) != 0) {
    return false;
  }
  entry->examined = true;
  entry->kind = KindOfMode(entry->info.st_mode);
  return entry->kind != EntryKind::kLink;
}

bool CountWalk::Look(const dirent& listed, Entry* entry) const {
  entry->name = listed.d_name;
  entry->kind = KindOfEntry(listed);
  entry->examined = false;
  return entry->kind == EntryKind::kUnknown ? Examine(entry) : entry->kind != EntryKind::kLink;
}

// For an entry that the mask let through. Only what the mode needs is looked at: where all files
// count, what `readdir` told is enough.
bool CountWalk::Counts(Entry* entry) const {
  if (query_.mode == CountMode::kSubFolders) {
    return entry->kind == EntryKind::kDirectory && !IsDotName(entry->name) && Examine(entry) &&
           entry->kind == EntryKind::kDirectory;
  }
  if (entry->kind == EntryKind::kDirectory) return false;
  if (query_.mode == CountMode::kAllFiles) return true;
  if (!Examine(entry) || entry->kind == EntryKind::kDirectory) return false;
  switch (query_.mode) {
    case CountMode::kOlderThan:
      return Minute(entry->info.st_mtime) < limit_minute_;
    case CountMode::kNewerThan:
      return Minute(entry->info.st_mtime) > limit_minute_;
    case CountMode::kBiggerThan:
      return int64_t{entry->info.st_size} > int64_t{query_.limit};
    case CountMode::kSmallerThan:
      return int64_t{entry->info.st_size} < int64_t{query_.limit};
    default:
      return false;
  }
}

// Whether a search for "*" with the directory attribute alone returns the entry: it may be written
// and is neither hidden nor special.
bool CountWalk::PassesSubfolderFilter(const Entry& entry) const {
  return (entry.kind == EntryKind::kDirectory || entry.kind == EntryKind::kRegular) &&
         !IsHiddenName(entry.name) && IsWritable(stack_.Descriptor(), entry.name);
}

// One reading serves for both searches of a folder, that for the mask and that for sub-folders.
FolderCount CountWalk::Read() {
  FolderCount result;
  if (!IsSearchable(stack_.Descriptor())) return result;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no two threads share a stream
  while (const dirent* listed = readdir(stack_.Folder())) {
    Entry entry;
    if (!Look(*listed, &entry)) continue;
    if (mask_.Matches(entry.name)) {
      result.any_match = true;
      if (Counts(&entry)) ++result.counted;
    }
    if (!query_.with_subfolders) continue;
    const bool enter = entry.kind == EntryKind::kDirectory && !IsDotName(entry.name);
    // One entry that passes is enough, but each folder has to be asked for itself.
    if ((result.may_descend && !enter) || !PassesSubfolderFilter(entry)) continue;
    result.may_descend = true;
    if (enter) stack_.Add(entry.name);
  }
  return result;
}

std::optional<int64_t> CountWalk::ReadSubfolders() {
  int64_t counted = 0;
  while (stack_.Next() != nullptr) {
    if (!stack_.Enter(FollowLink::kNo)) continue;
    const FolderCount count = Read();
    if (count.may_descend) counted += count.counted;
  }
  if (stack_.RanShort()) return std::nullopt;
  return counted;
}

// Whether anything in a folder passes the filter for sub-folders (see CountWalk).
bool HasFilteredEntry(const OvString& folder) {
  SearchRecord record;
  return FindFirst(folder, "*", attribute::kDirectory, &record) == 0;
}

}  // namespace

std::optional<int64_t> CountFiles(const OvString& folder, const OvString& mask,
                                  const CountQuery& query, time_t now) {
  DirPtr top = OpenDirectory(folder);
  if (top == nullptr) return std::nullopt;
  CountWalk walk(std::move(top), mask, query, now);
  const FolderCount count = walk.Read();
  if (!query.with_subfolders) {
    if (count.any_match || HasFilteredEntry(folder)) return count.counted;
    return std::nullopt;
  }
  // Deliberate: a folder in which nothing passes the filter for sub-folders fails, whatever was
  // counted in it: one that holds read-only and hidden entries alone and may not be written, nor
  // the folder above it. At the top the check fails; further down the folder adds nothing.
  if (!count.may_descend) return std::nullopt;
  const std::optional<int64_t> below = walk.ReadSubfolders();
  if (!below.has_value()) return std::nullopt;
  return count.counted + *below;
}

void CheckCountFiles(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  OvString folder = request.GetLine(1);
  if (request.GetFlagLine(11)) folder = ResolveFileMacros(folder);
  // Not checked for digits: a word counts as mode 0.
  const int32_t mode = ParseInt(request.GetLine(4));
  const std::optional<int32_t> limit = request.GetNumberLine(5);
  if (mode < 0 || mode >= kModes || !limit.has_value()) {
    return reply->Refuse(status::kWrongParameters, kWrongParameter);
  }
  const CountQuery query = {.mode = static_cast<CountMode>(mode),
                            .limit = *limit,
                            .with_subfolders = request.GetFlagLine(3)};
  const std::optional<int64_t> count = CountFiles(folder, request.GetLine(2), query, time(nullptr));
  if (!count.has_value()) return reply->Refuse(status::kUnavailable, kNoFolder);
  reply->SetStatus(status::kDone);
  reply->AddInt(static_cast<int>(*count));
}

}  // namespace zem
