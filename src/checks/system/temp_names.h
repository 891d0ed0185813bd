// SPDX-License-Identifier: BSD-2-Clause
// Names for files in the temporary directory. No file is created here.
//
// Shapes:  paths are zero-terminated in a buffer of the caller; an empty one means "no name".
// Threads: any; two counters live as long as the process, behind one lock that is held only while
//          a counter is read and changed.

#ifndef ZEM_CHECKS_SYSTEM_TEMP_NAMES_H_
#define ZEM_CHECKS_SYSTEM_TEMP_NAMES_H_

#include <cstdint>

namespace zem {

// A number that no other call in the life of this process gets.
int64_t NextTempId();

// The temporary directory and "/" (or "./"). False when fewer than 16 bytes would be left for a
// name: the buffer is then empty, or untouched when it is absent or has less than 16 bytes.
[[nodiscard]] bool MakeTempPrefix(char* buffer, int32_t capacity);

// Appends to the zero-terminated text in the buffer and cuts at the capacity without a word. Only
// plain stores: for the child of a fork too.
void AppendBounded(char* buffer, int32_t capacity, const char* text);

// With a name: the path of that name in the temporary directory, whether a file has it or not.
// Without: a fresh path that no regular file has. False and an empty buffer when there is none.
bool MakeTempName(char* buffer, int32_t capacity, const char* name);

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_TEMP_NAMES_H_
