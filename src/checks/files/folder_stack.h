// SPDX-License-Identifier: BSD-2-Clause
// Leads a walk through a tree of folders, depth first: each folder is read to its end, then the
// sub-folders found in it are entered in the order in which they were added.
//
// Every folder is opened relative to its parent, so a tree may be deeper than the longest path the
// system takes. Of the present path at most kOpenFolders folders stay open, and fewer when the
// process is short of descriptors; one further up is opened again on the way back. Memory holds the
// names of the sub-folders that wait on the present path, and nothing of what has been left.
// Errors:  a sub-folder that cannot be opened is not entered, which is no failure. A shortage that
//          giving up folders does not end is one: the walk is over, and RanShort() says so.
// Threads: one walk, one thread.

#ifndef ZEM_CHECKS_FILES_FOLDER_STACK_H_
#define ZEM_CHECKS_FILES_FOLDER_STACK_H_

#include <dirent.h>
#include <sys/types.h>

#include <cstddef>
#include <vector>

#include "core/unique_fd.h"
#include "text/ovstring.h"

namespace zem {

enum class FollowLink : bool { kNo, kYes };

class FolderStack {
 public:
  // Starts in a folder that is already open.
  explicit FolderStack(DirPtr top);

  // The folder entered last, or the one that the name of the last Next() belongs to. Where it was
  // entered by EnterUnread there is nothing to read.
  DIR* Folder() const { return levels_.back().stream.get(); }
  int Descriptor() const { return levels_.back().Descriptor(); }
  // 1 for the top folder.
  size_t Depth() const { return levels_.size(); }

  // Lets a sub-folder of the present folder wait.
  void Add(const char* name);

  // The next waiting name, null at the end of the walk. It belongs to the folder that is present
  // now, any folder that is done having been left; it is valid until Add.
  const char* Next();

  // Enters the sub-folder named by the last Next(), to be read. False when it cannot be opened.
  // Without following, a link planted since its name was read leads nowhere.
  [[nodiscard]] bool Enter(FollowLink follow);
  // Enters one that only leads on to sub-folders of its own; read permission is not needed.
  [[nodiscard]] bool EnterUnread(FollowLink follow);

  // Puts another folder in the top folder's place, as the one that its waiting names belong to.
  void ReplaceTop(const char* path);

  // Whether the walk ended early, so that what was found is less than there is.
  bool RanShort() const { return ran_short_; }

  static constexpr size_t kOpenFolders = 16;

 private:
  struct Level {
    int Descriptor() const { return stream != nullptr ? dirfd(stream.get()) : plain.Get(); }
    bool IsOpen() const { return stream != nullptr || plain.IsOpen(); }

    DirPtr stream;
    UniqueFd plain;  // used where there is no stream
    FollowLink follow = FollowLink::kNo;
    size_t own_name = 0;  // in names_, among those of the folder above
    size_t first = 0;     // where the names of its sub-folders begin in names_
    size_t next = 0;      // the next one that waits
    dev_t device = 0;     // both known once it has been closed
    ino_t inode = 0;
  };

  UniqueFd Open(int flags, FollowLink follow);
  void Push(Level level);
  void Leave();
  void CloseFurthest();
  UniqueFd OpenFromBelow(const Level& above, const Level& below) const;
  UniqueFd OpenByNames(size_t level) const;

  std::vector<Level> levels_;
  OvString names_;  // each followed by a zero byte; a stack that grows and shrinks with the path
  size_t furthest_open_ = 1;  // levels between the top one and this one are closed
  size_t taken_name_ = 0;     // where the name of the last Next() stands
  bool ran_short_ = false;
};

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_FOLDER_STACK_H_
