// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/directory_walker.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "text/file_info.h"
#include "text/path.h"

namespace zem {

namespace {

// An empty name of a directory means the current one.
OvString SearchedDirectory(const OvString& directory) {
  return IncludeTrailingPathDelimiter(directory.IsEmpty() ? GetCurrentDir() : directory);
}

DirPtr OpenExactly(const OvString& directory) {
  if (HoldsZeroByte(directory)) {
    errno = ENOENT;
    return nullptr;
  }
  // opendir opens close-on-exec and never waits for a pipe's other end.
  return DirPtr(opendir(directory.CStr()));
}

bool IsOutOfScope(SearchScope scope, EntryKind kind) {
  switch (scope) {
    case SearchScope::kEverything:
      return false;
    case SearchScope::kDirectories:
      return kind == EntryKind::kRegular || kind == EntryKind::kOther;
    case SearchScope::kFiles:
      return kind == EntryKind::kDirectory;
  }
  return false;
}

void CopyName(const char* name, SearchRecord* record) {
  const size_t length = strnlen(name, sizeof(record->name) - 1);
  memcpy(record->name, name, length);
  record->name[length] = '\0';
}

// Whether the entry passes; the record then holds it. The cheap questions come first.
bool Examine(const dirent& entry, SearchRecord* record) {
  const char* name = entry.d_name;
  const EntryKind listed_kind = KindOfEntry(entry);
  // No request can ask for a link: its bit lies above the requestable ones.
  if (listed_kind == EntryKind::kLink || IsOutOfScope(record->scope, listed_kind)) return false;
  uint32_t attributes = IsHiddenName(name) ? attribute::kHidden : 0;
  if ((record->exclusion & attributes) != 0 || !record->mask.Matches(name)) return false;

  const int directory = dirfd(record->handle.get());
  struct stat info;
  if (fstatat(directory, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return false;
  const EntryKind kind = KindOfMode(info.st_mode);
  if (kind == EntryKind::kLink) return false;
  if (kind == EntryKind::kDirectory) attributes |= attribute::kDirectory;
  if (kind == EntryKind::kOther) attributes |= attribute::kSystem;
  const bool need_read_only =
      record->tell_read_only || (record->exclusion & attribute::kReadOnly) != 0;
  if (need_read_only && !IsWritable(directory, name)) attributes |= attribute::kReadOnly;
  // Deliberate: every bit of the entry must be asked for, and none has to be there. A request of
  // 16 therefore lets plain writable files through as well as directories; the counting of files
  // depends on it, and callers who want directories test the bit themselves.
  if ((record->exclusion & attributes) != 0) return false;

  record->time = info.st_mtime;
  record->change_time = info.st_ctime;
  record->size = info.st_size;
  record->attributes = attributes;
  CopyName(name, record);
  return true;
}

}  // namespace

EntryKind KindOfEntry(const dirent& entry) {
  switch (entry.d_type) {
    case DT_DIR:
      return EntryKind::kDirectory;
    case DT_REG:
      return EntryKind::kRegular;
    case DT_LNK:
      return EntryKind::kLink;
    case DT_BLK:
    case DT_CHR:
    case DT_FIFO:
    case DT_SOCK:
      return EntryKind::kOther;
    default:
      return EntryKind::kUnknown;
  }
}

EntryKind KindOfMode(mode_t mode) {
  if (S_ISDIR(mode)) return EntryKind::kDirectory;
  if (S_ISREG(mode)) return EntryKind::kRegular;
  return S_ISLNK(mode) ? EntryKind::kLink : EntryKind::kOther;
}

bool IsDotName(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

bool IsHiddenName(const char* name) {
  return name[0] == '.' && !IsDotName(name);
}

bool IsSearchable(int directory) {
  struct stat info;
  return fstatat(directory, ".", &info, 0) == 0;
}

bool IsWritable(int directory, const char* name) {
  return faccessat(directory, name, W_OK, 0) == 0;
}

DirPtr OpenDirectory(const OvString& directory) {
  return OpenExactly(SearchedDirectory(directory));
}

int FindFirst(const OvString& directory, const OvString& mask, uint32_t requested,
              SearchRecord* record) {
  record->exclusion = ~(requested & attribute::kRequestable);
  record->mask = NameMask(mask);
  record->directory = SearchedDirectory(directory);
  record->handle = OpenExactly(record->directory);
  if (record->handle == nullptr) return errno;
  const int result = FindNext(record);
  if (result != 0) FindClose(record);
  return result;
}

int FindNext(SearchRecord* record) {
  if (record->handle == nullptr) return -1;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no two threads share a stream
  while (const dirent* entry = readdir(record->handle.get())) {
    if (Examine(*entry, record)) return 0;
  }
  return -1;
}

void FindClose(SearchRecord* record) {
  record->handle.reset();
}

OvString FindFirstMatchingFile(const OvString& pattern) {
  OvString path = ExtractFilePath(pattern);
  SearchRecord record;
  record.scope = SearchScope::kFiles;
  record.tell_read_only = false;
  if (FindFirst(path, ExtractFileName(pattern), attribute::kNoDirectories, &record) != 0) return {};
  return path.Append(record.name);
}

}  // namespace zem
