// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/temp_names.h"

#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <optional>

#include "core/environment.h"
#include "core/mutex.h"
#include "text/file_info.h"

namespace zem {

namespace {

// Room for a short name; what is longer than the room is cut.
constexpr int32_t kNameRoom = 16;
constexpr int64_t kLastSuffix = 999999;
// Deliberate: 1,999 candidates may be taken, and the 2,000th attempt fails even when its name is
// free. A directory that full is in trouble; looking on would only take longer to say so.
constexpr int kMostAttempts = 1999;

Mutex temp_name_lock;
int64_t temp_ids ZEM_GUARDED_BY(temp_name_lock) = 0;
int64_t temp_suffixes ZEM_GUARDED_BY(temp_name_lock) = 1;

int64_t NextSuffix() {
  MutexLock lock(&temp_name_lock);
  if (temp_suffixes > kLastSuffix) temp_suffixes = 0;
  return ++temp_suffixes;
}

bool Refuse(char* buffer) {
  buffer[0] = '\0';
  return false;
}

bool FindFreeName(char* buffer, int32_t capacity) {
  for (int attempt = 1;; ++attempt) {
    char candidate[1024];
    snprintf(candidate, sizeof(candidate), "%s%" PRId64, buffer, NextSuffix());
    if (strlen(candidate) <= strlen(buffer) || attempt > kMostAttempts) return Refuse(buffer);
    if (IsRegularFile(candidate)) continue;
    buffer[0] = '\0';
    AppendBounded(buffer, capacity, candidate);
    return true;
  }
}

}  // namespace

int64_t NextTempId() {
  MutexLock lock(&temp_name_lock);
  // Shifted in 32 bits: process ids above 32,767 give negative numbers. The names of the files in
  // the temporary directory show them, so the width stays.
  const auto shifted = static_cast<int32_t>(static_cast<uint32_t>(getpid()) << 16);
  return int64_t{shifted} + ++temp_ids;
}

void AppendBounded(char* buffer, int32_t capacity, const char* text) {
  int32_t end = 0;
  while (buffer[end] != '\0') ++end;
  while (*text != '\0' && end < capacity - 1) buffer[end++] = *text++;
  buffer[end] = '\0';
}

bool MakeTempPrefix(char* buffer, int32_t capacity) {
  if (buffer == nullptr || capacity < kNameRoom) return false;
  buffer[0] = '\0';
  const std::optional<OvString> directory = TempDirectoryFromEnvironment();
  AppendBounded(buffer, capacity, directory ? directory->CStr() : ".");
  AppendBounded(buffer, capacity, "/");
  const auto length = static_cast<int32_t>(strlen(buffer));
  return length <= capacity - kNameRoom || Refuse(buffer);
}

bool MakeTempName(char* buffer, int32_t capacity, const char* name) {
  if (!MakeTempPrefix(buffer, capacity)) return false;
  if (name != nullptr) {
    AppendBounded(buffer, capacity, name);
    return true;
  }
  char unique[32];
  snprintf(unique, sizeof(unique), "tmp-%" PRId64 "-", NextTempId());
  AppendBounded(buffer, capacity, unique);
  return FindFreeName(buffer, capacity);
}

}  // namespace zem
