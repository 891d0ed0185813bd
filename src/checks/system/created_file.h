// SPDX-License-Identifier: BSD-2-Clause
// A temporary file that the agent makes for one request and removes when the request is done.
//
// The name can be foreseen, and the directory may be open to everybody, so the file is made
// exclusively and never through a link. What a program then opens under the name is this file.
// Threads: as any value: one owner. RemoveCreatedFiles: any.

#ifndef ZEM_CHECKS_SYSTEM_CREATED_FILE_H_
#define ZEM_CHECKS_SYSTEM_CREATED_FILE_H_

#include <sys/types.h>

#include "core/unique_fd.h"
#include "text/ovstring.h"

namespace zem {

class CreatedFile {
 public:
  CreatedFile() = default;
  CreatedFile(const CreatedFile&) = delete;
  CreatedFile& operator=(const CreatedFile&) = delete;
  // Removes the file, but only one that Create made.
  ~CreatedFile();

  // The descriptor is for writing what the file starts with; one without a file means failure.
  UniqueFd Create(const char* path, mode_t mode);
  // A file that a program will write its output to. A stale one of the same name, left by an
  // earlier self with the same process id, gives way.
  [[nodiscard]] bool CreateForOutput(const char* path);
  // The same for a file that a shell redirection will open: see IsUntouched.
  [[nodiscard]] bool CreateForShell(const char* path);

  // True when no shell ever opened the file: a redirection empties it, which changes its time, and
  // until then it is dated at the epoch. A command with a syntax error never gets as far as its
  // redirections, and its result must count as missing although the file was made beforehand.
  bool IsUntouched() const;

  const OvString& Path() const { return path_; }

 private:
  OvString path_;
};

// Removes the files of all owners. For a process that is about to end or to become another
// program, in which nobody would remove them.
void RemoveCreatedFiles();

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_CREATED_FILE_H_
