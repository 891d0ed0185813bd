// SPDX-License-Identifier: BSD-2-Clause
// The search for entries of one directory, with a mask and an attribute filter, that every file
// check stands on.
//
// Shapes:  entries come in the order of the directory; nothing is sorted. "." and ".." are entries
//          like any other: callers skip them by name.
// Units:   times in seconds since the epoch, sizes in bytes.
// Errors:  an entry that cannot be examined (it vanished, the folder may not be searched) is
//          passed over in silence; a directory that cannot be read further is at its end.
// Threads: any; a search belongs to its caller.

#ifndef ZEM_CHECKS_FILES_DIRECTORY_WALKER_H_
#define ZEM_CHECKS_FILES_DIRECTORY_WALKER_H_

#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>

#include "checks/files/name_mask.h"
#include "core/unique_fd.h"
#include "text/ovstring.h"

namespace zem {

namespace attribute {
inline constexpr uint32_t kReadOnly = 1;  // the agent's user may not write it
inline constexpr uint32_t kHidden = 2;    // the name begins with "." ("." and ".." are not hidden)
inline constexpr uint32_t kSystem = 4;    // neither a directory nor a regular file
inline constexpr uint32_t kDirectory = 16;
inline constexpr uint32_t kLink = 64;

// What searches ask for. Two further bits of the low six are never set by any entry.
inline constexpr uint32_t kEverything = 63;
inline constexpr uint32_t kNoDirectories = 47;
inline constexpr uint32_t kRequestable = 63;
}  // namespace attribute

// What an entry is, as far as the checks tell entries apart.
enum class EntryKind : uint8_t { kUnknown, kDirectory, kRegular, kLink, kOther };

// What `readdir` tells about an entry without a further system call; kUnknown on file systems
// that tell nothing.
EntryKind KindOfEntry(const dirent& entry);
EntryKind KindOfMode(mode_t mode);

// True for "." and "..".
bool IsDotName(const char* name);
bool IsHiddenName(const char* name);

// Whether entries of an open directory can be examined: with read permission alone its names can
// be listed, but every look at an entry fails.
bool IsSearchable(int directory);
// Whether the agent's user may write an entry (his real user, links followed, as `access` does).
bool IsWritable(int directory, const char* name);

// A narrower search: entries that `readdir` itself shows to be of the other sort are passed over
// without a look. The filter decides as ever about the rest.
enum class SearchScope : uint8_t { kEverything, kDirectories, kFiles };

struct SearchRecord {
  // Set before FindFirst by callers who need less than everything.
  SearchScope scope = SearchScope::kEverything;
  bool tell_read_only = true;  // without it that bit is worked out only where the filter needs it

  // The current entry, examined without following links.
  int64_t time = 0;  // modification
  int64_t change_time = 0;
  int64_t size = 0;
  uint32_t attributes = 0;
  char name[256] = "";  // a longer name is cut

  // The search.
  DirPtr handle;
  OvString directory;  // ends in "/"
  NameMask mask;
  uint32_t exclusion = 0;
};

// Opens a directory for reading, links followed; null leaves errno as the system set it. An empty
// path is the current directory.
DirPtr OpenDirectory(const OvString& directory);

// 0 and the first entry that passes; otherwise an errno value (the directory cannot be opened) or
// -1 (nothing passes), and the directory is closed.
[[nodiscard]] int FindFirst(const OvString& directory, const OvString& mask, uint32_t requested,
                            SearchRecord* record);
// 0 and the next entry, or -1 at the end; the directory stays open until FindClose.
[[nodiscard]] int FindNext(SearchRecord* record);
void FindClose(SearchRecord* record);

// Directory part and name of the first entry, in directory order, that is neither a directory nor
// a link and matches the name part; empty when there is none.
OvString FindFirstMatchingFile(const OvString& pattern);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_DIRECTORY_WALKER_H_
