// SPDX-License-Identifier: BSD-2-Clause
// A tree of files in memory, and how a path finds its way in it. As a real one it has folders,
// files, links, pipes, permissions of the owner that hold, kinds that a listing leaves untold,
// names and paths that are too long. The working directory is the root.
//
// Shapes:  what lies in a frozen folder is never to be changed; who tries is a finding.
// Errors:  false or null, with errno as the system would set it.
// Threads: one.

#ifndef ZEM_FUZZ_MEMORY_TREE_H_
#define ZEM_FUZZ_MEMORY_TREE_H_

#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zem {

struct Node;
using NodePtr = std::shared_ptr<Node>;

struct Node : std::enable_shared_from_this<Node> {
  struct Entry {
    std::string name;
    NodePtr node;
  };

  bool Is(mode_t kind) const { return (mode & S_IFMT) == kind; }
  // R_OK, W_OK, X_OK
  bool May(int wanted) const { return (static_cast<int>(mode >> 6) & wanted) == wanted; }
  NodePtr Child(std::string_view name);
  // Of a folder. Null takes the entry away; one that is there is replaced.
  void SetChild(std::string_view name, const NodePtr& node);

  mode_t mode = 0;
  time_t time = 0;
  uint64_t identity = 0;
  Node* parent = nullptr;  // a folder's; the root is its own
  std::string text;        // of a file; where a link leads
  std::vector<Entry> entries;
  bool frozen = false;        // no input may change it
  bool kinds_untold = false;  // a listing of this folder leaves the kinds out
};

NodePtr MakeNode(mode_t mode, time_t time, std::string_view text);
const NodePtr& RootOfMemory();

// Where a path leads: a folder, a name in it, and what has that name, if anything.
struct Place {
  NodePtr folder;
  std::string_view name;  // of the path, or of a link on the way
  NodePtr node;
};

enum class LastLink : bool { kKept, kFollowed };

bool FindPlace(const NodePtr& from, std::string_view path, LastLink last, Place* place);
// What is there; null with ENOENT when nothing is.
NodePtr FindNode(const NodePtr& from, std::string_view path, LastLink last);

// Each puts one entry into a folder that is there; what had the name goes.
void PutFolder(const char* path, mode_t mode, time_t time);
void PutFile(const char* path, std::string_view text, mode_t mode = 0644, time_t time = 0);
void PutLink(const char* path, const char* target);
void PutPipe(const char* path);
void SetMode(const char* path, mode_t mode);
// The entries of this folder, listed, do not tell their kinds.
void LeaveKindsUntold(const char* folder);
void Freeze(const char* path);

// As a program that is not the agent would: a file that is there takes the text, provided that it
// lies in the folder.
void Overwrite(const char* path, const char* folder, std::string_view text);
std::string TextOf(const char* path);
// Never the same for two files of a run; 0 for none.
uint64_t IdentityOf(const char* path);
bool IsEmptyFolder(const char* path);

}  // namespace zem

#endif  // ZEM_FUZZ_MEMORY_TREE_H_
