// SPDX-License-Identifier: BSD-2-Clause
// What the linker calls in place of the C library's functions. Paths are looked up in memory within
// Inside; descriptors and streams are known by themselves.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "fuzz.h"
#include "inside.h"
#include "memory_files.h"

// The C library's own.
extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_openat(int folder, const char* path, int flags, ...);
int __real_close(int fd);
ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __real_write(int fd, const void* bytes, size_t size);
int __real_fsync(int fd);
int __real_ftruncate(int fd, off_t size);
int __real_fchmod(int fd, mode_t mode);
int __real_fchown(int fd, uid_t owner, gid_t group);
int __real_stat(const char* path, struct stat* info);
int __real_lstat(const char* path, struct stat* info);
int __real_fstat(int fd, struct stat* info);
int __real_fstatat(int folder, const char* path, struct stat* info, int flags);
int __real_statfs(const char* path, struct statfs* info);
int __real_statvfs(const char* path, struct statvfs* info);
char* __real_realpath(const char* path, char* end);
int __real_futimens(int fd, const timespec* times);
int __real_access(const char* path, int wanted);
int __real_faccessat(int folder, const char* path, int wanted, int flags);
int __real_unlink(const char* path);
int __real_link(const char* path, const char* second);
int __real_rename(const char* path, const char* to);
char* __real_getcwd(char* buffer, size_t size);
DIR* __real_opendir(const char* path);
DIR* __real_fdopendir(int fd);
dirent* __real_readdir(DIR* stream);
int __real_closedir(DIR* stream);
int __real_dirfd(DIR* stream);
FILE* __real_fopen(const char* path, const char* mode);
int __real_fclose(FILE* file);
int __real_fileno(FILE* file);
}

namespace zem {

namespace {

bool is_inside = false;

// A bit for each of the system's that is open, by a single call.
uint64_t OpenDescriptors() {
  constexpr int kLooked = 16;
  pollfd first[kLooked];
  for (int fd = 0; fd < kLooked; ++fd) first[fd] = {fd, 0, 0};
  FUZZ_CHECK(poll(first, kLooked, 0) >= 0);
  uint64_t open = 0;
  for (const pollfd& each : first) open = open * 2 + ((each.revents & POLLNVAL) == 0 ? 1 : 0);
  return open;
}

}  // namespace

Inside::Inside() : open_(OpenDescriptors()) {
  is_inside = true;
}

Inside::~Inside() {
  is_inside = false;
  FUZZ_CHECK(memory::CountOpen() == 0);
  FUZZ_CHECK(OpenDescriptors() == open_);
}

}  // namespace zem

extern "C" {

using namespace zem;
using namespace zem::memory;

int __wrap_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0);
  va_end(arguments);
  return is_inside ? NumberOf(Open(AT_FDCWD, path, flags, mode)) : __real_open(path, flags, mode);
}

int __wrap_openat(int folder, const char* path, int flags, ...) {
  return is_inside ? NumberOf(Open(folder, path, flags, 0)) : __real_openat(folder, path, flags);
}

int __wrap_close(int fd) {
  Descriptor* descriptor = Get(fd);
  if (descriptor == nullptr) return __real_close(fd);
  Release(descriptor);
  return 0;
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
  Descriptor* descriptor = Get(fd);
  return descriptor == nullptr ? __real_read(fd, buffer, size) : Read(descriptor, buffer, size);
}

ssize_t __wrap_write(int fd, const void* bytes, size_t size) {
  Descriptor* descriptor = Get(fd);
  if (descriptor == nullptr) return __real_write(fd, bytes, size);
  return Write(descriptor, {static_cast<const char*>(bytes), size});
}

int __wrap_fsync(int fd) {
  return Get(fd) == nullptr ? __real_fsync(fd) : 0;
}

int __wrap_ftruncate(int fd, off_t size) {
  Descriptor* descriptor = Get(fd);
  if (descriptor == nullptr) return __real_ftruncate(fd, size);
  FUZZ_CHECK(!descriptor->node->frozen);
  descriptor->node->text.resize(static_cast<size_t>(size));
  return 0;
}

int __wrap_fchmod(int fd, mode_t mode) {
  Descriptor* descriptor = Get(fd);
  if (descriptor == nullptr) return __real_fchmod(fd, mode);
  FUZZ_CHECK(!descriptor->node->frozen);
  descriptor->node->mode = (descriptor->node->mode & S_IFMT) | mode;
  return 0;
}

int __wrap_fchown(int fd, uid_t owner, gid_t group) {
  return Get(fd) == nullptr ? __real_fchown(fd, owner, group) : 0;
}

int __wrap_stat(const char* path, struct stat* info) {
  return is_inside ? StatAt(AT_FDCWD, path, LastLink::kFollowed, info) : __real_stat(path, info);
}

int __wrap_lstat(const char* path, struct stat* info) {
  return is_inside ? StatAt(AT_FDCWD, path, LastLink::kKept, info) : __real_lstat(path, info);
}

int __wrap_fstat(int fd, struct stat* info) {
  const Descriptor* descriptor = Get(fd);
  return descriptor == nullptr ? __real_fstat(fd, info) : StatNode(*descriptor->node, info);
}

int __wrap_fstatat(int folder, const char* path, struct stat* info, int flags) {
  if (!is_inside) return __real_fstatat(folder, path, info, flags);
  const bool keep = (flags & AT_SYMLINK_NOFOLLOW) != 0;
  return StatAt(folder, path, keep ? LastLink::kKept : LastLink::kFollowed, info);
}

int __wrap_statfs(const char* path, struct statfs* info) {
  return is_inside ? StatFs(path, info) : __real_statfs(path, info);
}

int __wrap_statvfs(const char* path, struct statvfs* info) {
  return is_inside ? StatVfs(path, info) : __real_statvfs(path, info);
}

char* __wrap_realpath(const char* path, char* end) {
  return is_inside ? RealPath(path, end) : __real_realpath(path, end);
}

int __wrap_futimens(int fd, const timespec* times) {
  Descriptor* descriptor = Get(fd);
  if (descriptor == nullptr) return __real_futimens(fd, times);
  FUZZ_CHECK(!descriptor->node->frozen);
  descriptor->node->time = times[1].tv_sec;
  return 0;
}

int __wrap_access(const char* path, int wanted) {
  return is_inside ? AccessAt(AT_FDCWD, path, wanted) : __real_access(path, wanted);
}

int __wrap_faccessat(int folder, const char* path, int wanted, int flags) {
  return is_inside ? AccessAt(folder, path, wanted) : __real_faccessat(folder, path, wanted, flags);
}

int __wrap_unlink(const char* path) {
  return is_inside ? Unlink(path) : __real_unlink(path);
}

int __wrap_link(const char* path, const char* second) {
  return is_inside ? Link(path, second) : __real_link(path, second);
}

int __wrap_rename(const char* path, const char* to) {
  return is_inside ? Rename(path, to) : __real_rename(path, to);
}

char* __wrap_getcwd(char* buffer, size_t size) {
  if (!is_inside) return __real_getcwd(buffer, size);
  FUZZ_CHECK(size >= 2);
  return strcpy(buffer, "/");  // NOLINT: there is room
}

DIR* __wrap_opendir(const char* path) {
  if (!is_inside) return __real_opendir(path);
  return reinterpret_cast<DIR*>(Open(AT_FDCWD, path, O_RDONLY | O_DIRECTORY, 0));
}

DIR* __wrap_fdopendir(int fd) {
  Descriptor* descriptor = Get(fd);
  return descriptor == nullptr ? __real_fdopendir(fd) : reinterpret_cast<DIR*>(descriptor);
}

dirent* __wrap_readdir(DIR* stream) {
  Descriptor* descriptor = Get(stream);
  return descriptor == nullptr ? __real_readdir(stream) : NextEntry(descriptor);
}

int __wrap_closedir(DIR* stream) {
  Descriptor* descriptor = Get(stream);
  if (descriptor == nullptr) return __real_closedir(stream);
  Release(descriptor);
  return 0;
}

int __wrap_dirfd(DIR* stream) {
  Descriptor* descriptor = Get(stream);
  return descriptor == nullptr ? __real_dirfd(stream) : NumberOf(descriptor);
}

// The agent only reads by streams; those that write are the fuzzer's own, as for an input that
// fails.
FILE* __wrap_fopen(const char* path, const char* mode) {
  return is_inside && *mode == 'r' ? OpenStream(path) : __real_fopen(path, mode);
}

int __wrap_fclose(FILE* file) {
  Descriptor* descriptor = Get(file);
  if (descriptor != nullptr) Release(descriptor);
  return __real_fclose(file);
}

int __wrap_fileno(FILE* file) {
  Descriptor* descriptor = Get(file);
  return descriptor == nullptr ? __real_fileno(file) : NumberOf(descriptor);
}

}  // extern "C"
