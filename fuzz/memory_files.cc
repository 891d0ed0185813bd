// SPDX-License-Identifier: BSD-2-Clause
#include "memory_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include "fuzz.h"

namespace zem::memory {

namespace {

constexpr int kFirstDescriptor = 100'000;
constexpr size_t kDescriptors = 200;

Descriptor descriptors[kDescriptors];
size_t open_descriptors = 0;

template <typename T>
T Fail(int error, T value) {
  errno = error;
  return value;
}

NodePtr From(int folder) {
  if (folder == AT_FDCWD) return RootOfMemory();
  const Descriptor* descriptor = Get(folder);
  return descriptor == nullptr ? nullptr : descriptor->node;
}

Descriptor* Take(const NodePtr& node, int flags) {
  for (Descriptor& descriptor : descriptors) {
    if (descriptor.node != nullptr) continue;
    descriptor.node = node;
    descriptor.flags = flags;
    descriptor.next = 0;
    ++open_descriptors;
    return &descriptor;
  }
  return Fail(EMFILE, static_cast<Descriptor*>(nullptr));
}

// Zero, or the reason why the node may not be opened so.
int Refusal(const Node& node, int flags) {
  const bool for_writing = (flags & O_ACCMODE) != O_RDONLY;
  if (node.Is(S_IFLNK)) return ELOOP;
  if ((flags & O_DIRECTORY) != 0 && !node.Is(S_IFDIR)) return ENOTDIR;
#if defined(O_PATH)  // some systems have none
  if ((flags & O_PATH) != 0) return 0;
#endif
  if (for_writing && node.Is(S_IFDIR)) return EISDIR;
  if (for_writing && node.Is(S_IFIFO)) return ENXIO;  // nobody reads it
  const int wanted = (flags & O_ACCMODE) == O_RDWR ? R_OK | W_OK : for_writing ? W_OK : R_OK;
  return node.May(wanted) ? 0 : EACCES;
}

// The place of an entry that is to come, to go or to be replaced.
bool FindEntry(const char* path, Place* place) {
  if (!FindPlace(RootOfMemory(), path, LastLink::kKept, place)) return false;
  if (place->node != nullptr && place->node->Is(S_IFDIR)) return Fail(EISDIR, false);
  return place->folder->May(W_OK) || Fail(EACCES, false);
}

}  // namespace

Descriptor* Get(int fd) {
  const auto index = static_cast<size_t>(fd - kFirstDescriptor);
  return fd >= kFirstDescriptor && index < kDescriptors && descriptors[index].node != nullptr
             ? &descriptors[index]
             : nullptr;
}

Descriptor* Get(DIR* stream) {
  auto* descriptor = reinterpret_cast<Descriptor*>(stream);
  const bool here = descriptor >= descriptors && descriptor < descriptors + kDescriptors;
  return here ? descriptor : nullptr;
}

Descriptor* Get(FILE* file) {
  if (file == nullptr || open_descriptors == 0) return nullptr;
  for (Descriptor& descriptor : descriptors) {
    if (descriptor.file == file) return &descriptor;
  }
  return nullptr;
}

int NumberOf(const Descriptor* descriptor) {
  if (descriptor == nullptr) return -1;
  return kFirstDescriptor + static_cast<int>(descriptor - descriptors);
}

size_t CountOpen() {
  return open_descriptors;
}

Descriptor* Open(int folder, const char* path, int flags, mode_t mode) {
  const NodePtr from = From(folder);
  Place place;
  const LastLink last = (flags & O_NOFOLLOW) != 0 ? LastLink::kKept : LastLink::kFollowed;
  if (from == nullptr) return Fail(EBADF, static_cast<Descriptor*>(nullptr));
  if (!FindPlace(from, path, last, &place)) return nullptr;
  if (place.node == nullptr && (flags & O_CREAT) == 0) errno = ENOENT;
  if (place.node == nullptr && (flags & O_CREAT) != 0) {
    if (!place.folder->May(W_OK)) return Fail(EACCES, static_cast<Descriptor*>(nullptr));
    const NodePtr made = MakeNode(S_IFREG | (mode & 0777), time(nullptr), "");
    Descriptor* descriptor = Take(made, flags);
    if (descriptor != nullptr) place.folder->SetChild(place.name, made);
    return descriptor;
  }
  if (place.node == nullptr) return nullptr;
  const bool taken = (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0;
  const int refusal = taken ? EEXIST : Refusal(*place.node, flags);
  if (refusal != 0) return Fail(refusal, static_cast<Descriptor*>(nullptr));
  Descriptor* descriptor = Take(place.node, flags);
  if (descriptor != nullptr && (flags & O_TRUNC) != 0) place.node->text.clear();
  return descriptor;
}

void Release(Descriptor* descriptor) {
  FUZZ_CHECK(descriptor->node != nullptr);
  descriptor->node.reset();
  descriptor->file = nullptr;
  --open_descriptors;
}

ssize_t Read(Descriptor* descriptor, void* buffer, size_t size) {
  if (descriptor->node->Is(S_IFDIR)) return Fail<ssize_t>(EISDIR, -1);
  const std::string_view rest =
      std::string_view(descriptor->node->text)
          .substr(std::min(descriptor->next, descriptor->node->text.size()));
  const size_t count = std::min(rest.size(), size);
  memcpy(buffer, rest.data(), count);
  descriptor->next += count;
  return static_cast<ssize_t>(count);
}

ssize_t Write(Descriptor* descriptor, std::string_view bytes) {
  FUZZ_CHECK((descriptor->flags & O_ACCMODE) != O_RDONLY && !descriptor->node->frozen);
  std::string& text = descriptor->node->text;
  if ((descriptor->flags & O_APPEND) != 0) descriptor->next = text.size();
  text.resize(std::max(text.size(), descriptor->next + bytes.size()));
  text.replace(descriptor->next, bytes.size(), bytes);
  descriptor->node->time = time(nullptr);
  descriptor->next += bytes.size();
  return static_cast<ssize_t>(bytes.size());
}

int AccessAt(int folder, const char* path, int wanted) {
  const NodePtr from = From(folder);
  if (from == nullptr) return Fail(EBADF, -1);
  const NodePtr node = FindNode(from, path, LastLink::kFollowed);
  if (node == nullptr) return -1;
  return node->May(wanted) ? 0 : Fail(EACCES, -1);
}

int Unlink(const char* path) {
  Place place;
  if (!FindEntry(path, &place)) return -1;
  if (place.node == nullptr) return Fail(ENOENT, -1);
  place.folder->SetChild(place.name, nullptr);
  return 0;
}

int Link(const char* path, const char* second) {
  Place from;
  Place to;
  if (!FindEntry(path, &from) || !FindEntry(second, &to)) return -1;
  if (from.node == nullptr) return Fail(ENOENT, -1);
  if (to.node != nullptr) return Fail(EEXIST, -1);
  to.folder->SetChild(to.name, from.node);
  return 0;
}

int Rename(const char* path, const char* second) {
  Place from;
  Place to;
  if (!FindEntry(path, &from) || !FindEntry(second, &to)) return -1;
  if (from.node == nullptr) return Fail(ENOENT, -1);
  if (from.node == to.node) return 0;
  to.folder->SetChild(to.name, from.node);
  from.folder->SetChild(from.name, nullptr);
  return 0;
}

// Dots first, then the entries in their order.
dirent* NextEntry(Descriptor* stream) {
  constexpr std::string_view kDots[] = {".", ".."};
  const Node& folder = *stream->node;
  const size_t index = stream->next++;
  if (index >= 2 + folder.entries.size()) return nullptr;
  const std::string_view name = index < 2 ? kDots[index] : folder.entries[index - 2].name;
  const mode_t mode = index < 2 ? S_IFDIR : folder.entries[index - 2].node->mode;
  stream->entry.d_ino = index + 1;
  stream->entry.d_type = folder.kinds_untold ? DT_UNKNOWN : IFTODT(mode);
  memcpy(stream->entry.d_name, name.data(), name.size());
  stream->entry.d_name[name.size()] = '\0';
  return &stream->entry;
}

FILE* OpenStream(const char* path) {
  Descriptor* descriptor = Open(AT_FDCWD, path, O_RDONLY, 0);
  if (descriptor == nullptr) return nullptr;
  descriptor->copy = descriptor->node->text;
  descriptor->file = fmemopen(descriptor->copy.data(), descriptor->copy.size(), "r");
  FUZZ_CHECK(descriptor->file != nullptr);
  return descriptor->file;
}

int StatNode(const Node& node, struct stat* info) {
  constexpr int kBlock = 512;
  *info = {};
  info->st_dev = 1;
  info->st_ino = node.identity;
  info->st_mode = node.mode;
  info->st_nlink = 1;
  static const uid_t own = geteuid();
  info->st_uid = own;
  info->st_size = node.Is(S_IFDIR) ? 4096 : static_cast<off_t>(node.text.size());
  info->st_blksize = 4096;
  info->st_blocks = (info->st_size + kBlock - 1) / kBlock;
  info->st_mtim.tv_sec = info->st_atim.tv_sec = node.time;
  info->st_ctim.tv_sec = node.time + 1;
  return 0;
}

int StatAt(int folder, const char* path, LastLink last, struct stat* info) {
  const NodePtr from = From(folder);
  if (from == nullptr) return Fail(EBADF, -1);
  const NodePtr node = FindNode(from, path, last);
  return node == nullptr ? -1 : StatNode(*node, info);
}

int StatFs(const char* path, struct statfs* info) {
  if (FindNode(RootOfMemory(), path, LastLink::kFollowed) == nullptr) return -1;
  *info = {};
  info->f_bsize = 4096;
  info->f_blocks = 1'000'000'000;
  info->f_bfree = 500'000'000;
  info->f_bavail = 400'000'000;
  return 0;
}

int StatVfs(const char* path, struct statvfs* info) {
  struct statfs same;
  if (StatFs(path, &same) != 0) return -1;
  *info = {};
  info->f_bsize = info->f_frsize = 4096;
  info->f_blocks = same.f_blocks;
  info->f_bfree = same.f_bfree;
  info->f_bavail = static_cast<fsblkcnt_t>(same.f_bavail);
  return 0;
}

char* RealPath(const char* path, char* end) {
  FUZZ_CHECK(end != nullptr);
  Place place;
  if (!FindPlace(RootOfMemory(), path, LastLink::kFollowed, &place)) return nullptr;
  if (place.node == nullptr) return Fail(ENOENT, static_cast<char*>(nullptr));
  std::string real;
  const Node* node = place.node->Is(S_IFDIR) ? place.node.get() : place.folder.get();
  if (!place.node->Is(S_IFDIR)) real.append("/").append(place.name);
  for (; node != node->parent; node = node->parent) {
    for (const Node::Entry& entry : node->parent->entries) {
      if (entry.node.get() == node) real.insert(0, "/" + entry.name);
    }
  }
  if (real.empty()) real = "/";
  if (real.size() >= PATH_MAX) return Fail(ENAMETOOLONG, static_cast<char*>(nullptr));
  return strcpy(end, real.c_str());  // NOLINT: there is room
}

}  // namespace zem::memory
