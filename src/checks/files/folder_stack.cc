// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/folder_stack.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace zem {

namespace {

constexpr int kReadFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// A descriptor that serves as the start of further paths and needs search permission alone.
#if defined(O_PATH)
constexpr int kPassageFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
#elif defined(O_SEARCH)
constexpr int kPassageFlags = O_SEARCH | O_DIRECTORY | O_CLOEXEC;
#else
constexpr int kPassageFlags = kReadFlags;
#endif

int LinkFlag(FollowLink follow) {
  return follow == FollowLink::kYes ? 0 : O_NOFOLLOW;
}

// Said of the process or the system, never of the folder.
bool IsShortage(int error_number) {
  return error_number == EMFILE || error_number == ENFILE || error_number == ENOMEM;
}

UniqueFd OpenPassage(int parent, const char* name, FollowLink follow) {
  return UniqueFd(openat(parent, name, kPassageFlags | LinkFlag(follow)));
}

}  // namespace

FolderStack::FolderStack(DirPtr top) {
  Level level;
  level.stream = std::move(top);
  Push(std::move(level));
}

void FolderStack::Add(const char* name) {
  names_.Append(std::string_view(name, strlen(name) + 1));
}

const char* FolderStack::Next() {
  while (!levels_.empty() && !ran_short_) {
    Level& level = levels_.back();
    if (level.next < names_.Length() && level.IsOpen()) {
      taken_name_ = level.next;
      const char* name = names_.CStr() + taken_name_;
      level.next += strlen(name) + 1;
      return name;
    }
    Leave();
  }
  return nullptr;
}

bool FolderStack::Enter(FollowLink follow) {
  UniqueFd folder = Open(kReadFlags, follow);
  if (!folder.IsOpen()) return false;
  Level level;
  level.stream.reset(fdopendir(folder.Get()));
  if (level.stream == nullptr) {
    // FreeBSD asks for the file system first, and fails for a folder that was removed meanwhile.
    if (IsShortage(errno)) ran_short_ = true;
    return false;
  }
  (void)folder.Release();  // the stream's now
  level.follow = follow;
  Push(std::move(level));
  return true;
}

bool FolderStack::EnterUnread(FollowLink follow) {
  Level level;
  level.plain = Open(kPassageFlags, follow);
  if (!level.plain.IsOpen()) return false;
  level.follow = follow;
  Push(std::move(level));
  return true;
}

void FolderStack::ReplaceTop(const char* path) {
  Level& top = levels_.front();
  top.stream.reset();
  top.plain = UniqueFd(open(path, kPassageFlags));
  if (!top.plain.IsOpen() && IsShortage(errno)) ran_short_ = true;
}

// The descriptors that this walk holds may be the ones that are missing: they go first, so that a
// process in which strangers hold the others still gets its figures whole.
UniqueFd FolderStack::Open(int flags, FollowLink follow) {
  for (;;) {
    UniqueFd folder(openat(Descriptor(), names_.CStr() + taken_name_, flags | LinkFlag(follow)));
    if (folder.IsOpen() || !IsShortage(errno)) return folder;
    if (furthest_open_ + 1 >= levels_.size()) {
      ran_short_ = true;
      return {};
    }
    CloseFurthest();
  }
}

void FolderStack::Push(Level level) {
  level.own_name = taken_name_;
  level.first = level.next = names_.Length();
  levels_.push_back(std::move(level));
  if (levels_.size() - furthest_open_ >= kOpenFolders) CloseFurthest();
}

// The top folder stays open: it may be a link, or nameless, and is where OpenByNames begins.
void FolderStack::CloseFurthest() {
  Level& level = levels_[furthest_open_++];
  struct stat info;
  if (level.IsOpen() && fstat(level.Descriptor(), &info) == 0) {
    level.device = info.st_dev;
    level.inode = info.st_ino;
  }
  level.stream.reset();
  level.plain.Reset();
}

void FolderStack::Leave() {
  Level left = std::move(levels_.back());
  levels_.pop_back();
  names_.Truncate(left.first);
  if (levels_.empty()) return;
  Level& above = levels_.back();
  const size_t index = levels_.size() - 1;
  if (index == 0 || index >= furthest_open_) return;
  furthest_open_ = index;
  above.plain = OpenFromBelow(above, left);
  // The folder just left may have been moved elsewhere meanwhile; the names still lead back. A
  // folder that they do not lead to is gone, and what waits in it with it.
  if (above.plain.IsOpen()) return;
  left = {};  // its descriptor may be what is missing
  above.plain = OpenByNames(index);
  if (!above.plain.IsOpen() && IsShortage(errno)) ran_short_ = true;
}

UniqueFd FolderStack::OpenFromBelow(const Level& above, const Level& below) const {
  if (!below.IsOpen()) return {};
  UniqueFd folder = OpenPassage(below.Descriptor(), "..", FollowLink::kNo);
  struct stat info;
  if (!folder.IsOpen() || fstat(folder.Get(), &info) != 0) return {};
  if (info.st_dev != above.device || info.st_ino != above.inode) return {};
  return folder;
}

UniqueFd FolderStack::OpenByNames(size_t level) const {
  UniqueFd folder;
  for (size_t i = 1; i <= level; ++i) {
    const int parent = i == 1 ? levels_.front().Descriptor() : folder.Get();
    folder = OpenPassage(parent, names_.CStr() + levels_[i].own_name, levels_[i].follow);
    if (!folder.IsOpen()) return {};
  }
  return folder;
}

}  // namespace zem
