// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/folder_size.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstddef>
#include <utility>

#include "checks/files/directory_walker.h"
#include "checks/files/file_macros.h"
#include "checks/files/folder_stack.h"
#include "checks/files/name_mask.h"
#include "text/file_info.h"
#include "text/path.h"

namespace zem {

namespace {

constexpr const char* kNoFolder = "Folder/File doesn`t exist or access denied";

class SizeWalk {
 public:
  SizeWalk(DirPtr top, OvString mask, bool with_subfolders)
      : stack_(std::move(top)), mask_(std::move(mask)), with_subfolders_(with_subfolders) {}

  // Adds the files of the present folder; false when no entry of it can be examined.
  bool Read();
  // Enters and reads all that waits; false when the walk could not be finished.
  [[nodiscard]] bool ReadSubfolders();
  // Looks for the sub-folders of the top folder in another one, where they may also be links.
  void LookInRoot();
  double Total() const { return total_; }

 private:
  static constexpr size_t kNowhere = static_cast<size_t>(-1);

  const NameMask& Mask() const { return stack_.Depth() >= all_from_ ? all_ : mask_; }
  FollowLink FollowMask() const;
  bool HoldsMaskFolder(const char* name) const;
  bool EnterMaskFolder(FollowLink follow);
  bool EnterSubfolder(FollowLink follow);

  FolderStack stack_;
  const NameMask mask_;
  const NameMask all_{"*"};
  size_t all_from_ = kNowhere;  // depth from which every file counts
  const bool with_subfolders_;
  bool in_root_ = false;
  double total_ = 0;
};

bool SizeWalk::Read() {
  const int folder = stack_.Descriptor();
  if (!IsSearchable(folder)) return false;
  const NameMask& mask = Mask();
  bool found = false;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no two threads share a stream
  while (const dirent* entry = readdir(stack_.Folder())) {
    EntryKind kind = KindOfEntry(*entry);
    if (kind == EntryKind::kLink) continue;
    const bool counts = kind != EntryKind::kDirectory && mask.Matches(entry->d_name);
    double size = 0;
    // A directory's size is not asked for, nor that of a file which the mask rejects.
    if (counts || kind == EntryKind::kUnknown) {
      struct stat info;
      if (fstatat(folder, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
      kind = KindOfMode(info.st_mode);
      if (kind == EntryKind::kLink) continue;
      size = static_cast<double>(info.st_size);
    }
    found = true;
    if (kind != EntryKind::kDirectory) {
      if (counts) total_ += size;
    } else if (with_subfolders_ && !IsDotName(entry->d_name)) {
      stack_.Add(entry->d_name);
    }
  }
  return found;
}

bool SizeWalk::ReadSubfolders() {
  while (const char* name = stack_.Next()) {
    if (stack_.Depth() < all_from_) all_from_ = kNowhere;
    const auto follow = in_root_ && stack_.Depth() == 1 ? FollowLink::kYes : FollowLink::kNo;
    const bool entered = HoldsMaskFolder(name) ? EnterMaskFolder(follow) : EnterSubfolder(follow);
    if (entered) (void)Read();
  }
  return !stack_.RanShort();
}

void SizeWalk::LookInRoot() {
  in_root_ = true;
  stack_.ReplaceTop("/");
}

// Deliberate: a folder and mask that together are the path of an existing directory mean that
// directory, with all its files, in every sub-folder as at the top. So where a sub-folder holds a
// directory whose name is the mask, letter for letter, or a link to one, that directory alone is
// walked; figures that servers have stored depend on it.
bool SizeWalk::HoldsMaskFolder(const char* name) const {
  const OvString& mask = Mask().Text();
  if (mask.IsEmpty() || HoldsZeroByte(mask)) return false;
  OvString path(name);
  path.Append('/').Append(mask);
  struct stat info;
  const int flags = FollowMask() == FollowLink::kYes ? 0 : AT_SYMLINK_NOFOLLOW;
  return fstatat(stack_.Descriptor(), path.CStr(), &info, flags) == 0 && S_ISDIR(info.st_mode);
}

// What is entered by the mask is walked with "*" for a mask from there on, so one link at most is
// followed on any way down, unless its name is "*": such links could lead round in circles.
FollowLink SizeWalk::FollowMask() const {
  return Mask().Text() == "*" ? FollowLink::kNo : FollowLink::kYes;
}

bool SizeWalk::EnterMaskFolder(FollowLink follow) {
  const FollowLink follow_mask = FollowMask();
  const OvString& mask = Mask().Text();
  if (!stack_.EnterUnread(follow)) return false;
  stack_.Add(mask.CStr());
  (void)stack_.Next();
  if (!stack_.Enter(follow_mask)) return false;
  if (all_from_ == kNowhere) all_from_ = stack_.Depth();
  return true;
}

bool SizeWalk::EnterSubfolder(FollowLink follow) {
  const bool without_mask = Mask().Text().IsEmpty();
  if (!stack_.Enter(follow)) return false;
  // Deliberate, for the same reason: a sub-folder, "/" and no mask are the path of the sub-folder
  // itself, so all its files count.
  if (without_mask) all_from_ = stack_.Depth();
  return true;
}

}  // namespace

std::optional<double> MeasureFolder(const OvString& path, bool with_subfolders) {
  if (HoldsZeroByte(path)) return std::nullopt;
  const bool is_folder = DirectoryExists(path);
  const OvString folder = is_folder ? path : ExtractFilePath(path);
  DirPtr top = OpenDirectory(folder);
  if (top == nullptr) return std::nullopt;
  SizeWalk walk(std::move(top), is_folder ? "*" : ExtractFileName(path), with_subfolders);
  if (!walk.Read()) return std::nullopt;
  // Deliberate: a mask without a folder measures the current directory, but the names of the
  // sub-folders found there are looked up in the root. Without a "/" in the path there is nothing
  // else that they could be put behind.
  if (folder.IsEmpty()) walk.LookInRoot();
  if (!walk.ReadSubfolders()) return std::nullopt;
  return walk.Total();
}

void CheckFolderSize(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  OvString path = request.GetLine(1);
  if (request.GetFlagLine(8)) path = ResolveFileMacros(path);
  const std::optional<double> size = MeasureFolder(path, request.GetFlagLine(2));
  if (!size.has_value()) return reply->Refuse(status::kUnavailable, kNoFolder);
  reply->SetStatus(status::kDone);
  reply->AddNumber(*size);
}

}  // namespace zem
