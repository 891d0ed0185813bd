// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/folder_stack.h"

#include <fcntl.h>
#include <sys/stat.h>

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

}  // namespace

DirPtr OpenSubfolder(int parent, const char* name, FollowLink follow) {
  UniqueFd folder(openat(parent, name, kReadFlags | LinkFlag(follow)));
  if (!folder.IsOpen()) return nullptr;
  DirPtr stream(fdopendir(folder.Get()));
  if (stream != nullptr) (void)folder.Release();  // the stream's now
  return stream;
}

UniqueFd OpenPassage(int parent, const char* name, FollowLink follow) {
  return UniqueFd(openat(parent, name, kPassageFlags | LinkFlag(follow)));
}

void FolderStack::Add(const char* name) {
  names_.Append(std::string_view(name, strlen(name) + 1));
}

const char* FolderStack::Next() {
  while (!levels_.empty()) {
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

void FolderStack::Enter(DirPtr folder) {
  Level level;
  level.stream = std::move(folder);
  Push(std::move(level));
}

void FolderStack::EnterUnread(UniqueFd folder) {
  Level level;
  level.plain = std::move(folder);
  Push(std::move(level));
}

void FolderStack::ReplaceTop(UniqueFd folder) {
  levels_.front().stream.reset();
  levels_.front().plain = std::move(folder);
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
  const Level left = std::move(levels_.back());
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
  if (!above.plain.IsOpen()) above.plain = OpenByNames(index);
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
    folder = OpenPassage(parent, names_.CStr() + levels_[i].own_name, FollowLink::kNo);
    if (!folder.IsOpen()) return {};
  }
  return folder;
}

}  // namespace zem
