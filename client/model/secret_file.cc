// SPDX-License-Identifier: BSD-2-Clause
#include "model/secret.h"

#include <fcntl.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

#include "core/unique_fd.h"
#include "text/system_error.h"

namespace zem::client {

namespace {

constexpr size_t kLargest = 1024 * 1024;

[[noreturn]] void Fail(const std::string& path, int error_number) {
  throw std::runtime_error("cannot read " + path + ": " + SystemErrorText(error_number).CStr());
}

// Who may write the file decides where the password is sent, and which.
void RefuseShared(const std::string& path, int fd) {
  struct stat info;
  if (fstat(fd, &info) != 0) Fail(path, errno);
  // A pipe (from a password manager) has no mode that means anything.
  if (!S_ISREG(info.st_mode)) return;
  if (info.st_uid != geteuid() && info.st_uid != 0) {
    throw std::runtime_error(path + " belongs to somebody else; make a file of your own");
  }
  // The superuser gives a file to a group on purpose: to the scheduler that runs the checks.
  const int readers = info.st_uid == 0 ? S_IROTH : S_IRGRP | S_IROTH;
  for (const auto& [bits, verb] :
       {std::pair(readers, "read"), std::pair(S_IWGRP | S_IWOTH, "written")}) {
    if ((info.st_mode & static_cast<mode_t>(bits)) == 0) continue;
    throw std::runtime_error(path + " can be " + verb + " by others; chmod 600 it first");
  }
}

}  // namespace

Secret ReadSecretFile(const std::string& path, Privacy privacy) {
  UniqueFd file;
  int fd = STDIN_FILENO;
  if (path != "-") {
    file.Reset(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!file.IsOpen()) Fail(path, errno);
    fd = file.Get();
    if (privacy == Privacy::kOwnerOnly) RefuseShared(path, fd);
  }
  OvString text;
  char buffer[4096];
  ssize_t got = 0;
  while ((got = read(fd, buffer, sizeof(buffer))) != 0) {
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) Fail(path, errno);
    text.Append(std::string_view(buffer, static_cast<size_t>(got)));
    explicit_bzero(buffer, static_cast<size_t>(got));
    if (text.Length() > kLargest) throw std::runtime_error(path + " is too large");
  }
  Secret secret(text.View());
  text.Wipe();
  return secret;
}

Secret ReadPasswordFile(const std::string& path, Privacy privacy) {
  const Secret whole = ReadSecretFile(path, privacy);
  std::string_view line = whole.View().substr(0, whole.View().find('\n'));
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  if (line.empty()) {
    throw std::runtime_error((path == "-" ? "standard input" : path) + " holds no password");
  }
  return Secret(line);
}

}  // namespace zem::client
