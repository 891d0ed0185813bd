// SPDX-License-Identifier: BSD-2-Clause
// What the system does with files, done with those of memory_tree.h: the same results, the same
// errno.
//
// Shapes:  descriptors lie above all that the system gives, and are known by that; streams by their
//          address.
// Threads: one.

#ifndef ZEM_FUZZ_MEMORY_FILES_H_
#define ZEM_FUZZ_MEMORY_FILES_H_

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#ifdef __FreeBSD__
#include <sys/param.h>

#include <sys/mount.h>
#else
#include <sys/vfs.h>
#endif

#include <cstdio>
#include <string>
#include <string_view>

#include "memory_tree.h"

namespace zem::memory {

// A stream of entries too, told by its address.
struct Descriptor {
  NodePtr node;
  int flags = 0;
  size_t next = 0;   // byte or entry
  std::string copy;  // what `file` reads
  FILE* file = nullptr;
  dirent entry = {};
};

// Null for one of the system's, or none.
Descriptor* Get(int fd);
Descriptor* Get(DIR* stream);
Descriptor* Get(FILE* file);
// -1 for null.
int NumberOf(const Descriptor* descriptor);
size_t CountOpen();

Descriptor* Open(int folder, const char* path, int flags, mode_t mode);
FILE* OpenStream(const char* path);
void Release(Descriptor* descriptor);
ssize_t Read(Descriptor* descriptor, void* buffer, size_t size);
ssize_t Write(Descriptor* descriptor, std::string_view bytes);
dirent* NextEntry(Descriptor* stream);

int StatAt(int folder, const char* path, LastLink last, struct stat* info);
int StatNode(const Node& node, struct stat* info);
int AccessAt(int folder, const char* path, int wanted);
int StatFs(const char* path, struct statfs* info);
int StatVfs(const char* path, struct statvfs* info);
char* RealPath(const char* path, char* end);
int Unlink(const char* path);
int Link(const char* path, const char* second);
int Rename(const char* path, const char* to);

}  // namespace zem::memory

#endif  // ZEM_FUZZ_MEMORY_FILES_H_
