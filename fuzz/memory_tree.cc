// SPDX-License-Identifier: BSD-2-Clause
#include "memory_tree.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>

#include "fuzz.h"

namespace zem {

namespace {

bool Fail(int error) {
  errno = error;
  return false;
}

bool Resolve(const NodePtr& from, std::string_view path, LastLink last, int links, Place* place);

// From the folder that `place` has reached to one name in it, and on where a link leads.
bool Step(std::string_view name, bool follow, int links, Place* place) {
  constexpr int kMostLinks = 40;
  const NodePtr folder = place->node;
  if (folder == nullptr) return Fail(ENOENT);
  if (!folder->Is(S_IFDIR)) return Fail(ENOTDIR);
  if (!folder->May(X_OK)) return Fail(EACCES);
  if (name.size() > NAME_MAX) return Fail(ENAMETOOLONG);
  *place = {folder, name, folder->Child(name)};
  if (!follow || place->node == nullptr || !place->node->Is(S_IFLNK)) return true;
  if (links == kMostLinks) return Fail(ELOOP);
  return Resolve(folder, place->node->text, LastLink::kFollowed, links + 1, place);
}

bool Resolve(const NodePtr& from, std::string_view path, LastLink last, int links, Place* place) {
  if (path.empty()) return Fail(ENOENT);
  if (path.size() >= PATH_MAX) return Fail(ENAMETOOLONG);
  const NodePtr start = path.front() == '/' ? RootOfMemory() : from;
  *place = {start, ".", start};
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  while (!path.empty()) {
    const std::string_view name = path.substr(0, path.find('/'));
    // A slash behind the last name asks for a folder, by a link or not.
    const bool slash = name.size() < path.size();
    path.remove_prefix(std::min(path.find_first_not_of('/', name.size()), path.size()));
    if (!Step(name, slash || last == LastLink::kFollowed, links, place)) return false;
    if (!slash) continue;
    if (place->node == nullptr) return Fail(ENOENT);
    if (!place->node->Is(S_IFDIR)) return Fail(ENOTDIR);
  }
  return true;
}

}  // namespace

NodePtr Node::Child(std::string_view name) {
  if (name == ".") return shared_from_this();
  if (name == "..") return parent->shared_from_this();
  for (const Entry& entry : entries) {
    if (entry.name == name) return entry.node;
  }
  return nullptr;
}

void Node::SetChild(std::string_view name, const NodePtr& node) {
  FUZZ_CHECK(Is(S_IFDIR) && !frozen);
  std::erase_if(entries, [name](const Entry& entry) { return entry.name == name; });
  if (node == nullptr) return;
  if (node->Is(S_IFDIR)) node->parent = this;
  entries.push_back({std::string(name), node});
}

NodePtr MakeNode(mode_t mode, time_t time, std::string_view text) {
  static uint64_t identities = 0;
  auto node = std::make_shared<Node>();
  node->mode = mode;
  node->time = time;
  node->identity = ++identities;
  node->text = text;
  return node;
}

const NodePtr& RootOfMemory() {
  static const NodePtr root = [] {
    const NodePtr node = MakeNode(S_IFDIR | 0755, 1'000'000'000, "");
    node->parent = node.get();
    return node;
  }();
  return root;
}

bool FindPlace(const NodePtr& from, std::string_view path, LastLink last, Place* place) {
  return Resolve(from, path, last, 0, place);
}

NodePtr FindNode(const NodePtr& from, std::string_view path, LastLink last) {
  Place place;
  if (!FindPlace(from, path, last, &place)) return nullptr;
  if (place.node == nullptr) errno = ENOENT;
  return place.node;
}

namespace {

NodePtr FindForSure(const char* path) {
  const NodePtr node = FindNode(RootOfMemory(), path, LastLink::kKept);
  FUZZ_CHECK(node != nullptr);
  return node;
}

void Put(const char* path, const NodePtr& node) {
  Place place;
  FUZZ_CHECK(FindPlace(RootOfMemory(), path, LastLink::kKept, &place));
  place.folder->SetChild(place.name, node);
}

}  // namespace

void PutFolder(const char* path, mode_t mode, time_t time) {
  Put(path, MakeNode(S_IFDIR | mode, time, ""));
}

void PutFile(const char* path, std::string_view text, mode_t mode, time_t time) {
  Put(path, MakeNode(S_IFREG | mode, time, text));
}

void PutLink(const char* path, const char* target) {
  Put(path, MakeNode(S_IFLNK | 0777, 1'050'000'000, target));
}

void PutPipe(const char* path) {
  Put(path, MakeNode(S_IFIFO | 0644, 1'050'000'000, ""));
}

void SetMode(const char* path, mode_t mode) {
  const NodePtr node = FindForSure(path);
  node->mode = (node->mode & S_IFMT) | mode;
}

void LeaveKindsUntold(const char* folder) {
  FindForSure(folder)->kinds_untold = true;
}

void Freeze(const char* path) {
  const NodePtr node = FindForSure(path);
  node->frozen = true;
  for (const Node::Entry& entry : node->entries) {
    Freeze((std::string(path) + "/" + entry.name).c_str());
  }
}

void Overwrite(const char* path, const char* folder, std::string_view text) {
  Place place;
  if (!FindPlace(RootOfMemory(), path, LastLink::kFollowed, &place) || place.node == nullptr)
    return;
  if (place.folder != FindForSure(folder)) return;
  place.node->text = text;
  place.node->time = time(nullptr);
}

std::string TextOf(const char* path) {
  const NodePtr node = FindNode(RootOfMemory(), path, LastLink::kFollowed);
  return node == nullptr ? "" : node->text;
}

uint64_t IdentityOf(const char* path) {
  const NodePtr node = FindNode(RootOfMemory(), path, LastLink::kFollowed);
  return node == nullptr ? 0 : node->identity;
}

bool IsEmptyFolder(const char* path) {
  return FindForSure(path)->entries.empty();
}

}  // namespace zem
