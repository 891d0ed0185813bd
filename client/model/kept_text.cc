// SPDX-License-Identifier: BSD-2-Clause
#include "model/kept_text.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <fmt/format.h>

#include "protocol/digest.h"
#include "text/system_error.h"

namespace zem::client {

namespace {

[[noreturn]] void Fail(const char* what, const std::string& path) {
  throw std::runtime_error(
      fmt::format("cannot {} {}: {}", what, path, SystemErrorText(errno).CStr()));
}

std::string PathOf(const std::string& folder, const std::string& key) {
  std::string path = folder + '/';
  for (const uint8_t byte : Sha1(key)) path += fmt::format("{:02x}", byte);
  return path;
}

void MakeFolders(const std::string& folder) {
  for (size_t end = 1; end != std::string::npos;) {
    end = folder.find('/', end + 1);
    const std::string part = folder.substr(0, end);
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) Fail("make the folder", part);
  }
}

// The file, with nobody else's hold on it; not open where there is none. A file system without
// such holds gives it as it is.
UniqueFd OpenAlone(const std::string& path, std::chrono::milliseconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (true) {
    UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd.IsOpen()) return fd;
    if (flock(fd.Get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK) return fd;
      if (std::chrono::steady_clock::now() >= end) {
        throw std::runtime_error("another run has not finished with " + path);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      continue;
    }
    struct stat held = {};
    struct stat there = {};
    const bool same = fstat(fd.Get(), &held) == 0 && lstat(path.c_str(), &there) == 0 &&
                      held.st_ino == there.st_ino;
    if (same) return fd;  // else another run has put a fresh one in its place
  }
}

}  // namespace

std::string KeptFolder() {
  const char* state = getenv("XDG_STATE_HOME");
  if (state != nullptr && *state == '/') return std::string(state) + "/zem";
  const char* home = getenv("HOME");
  return home != nullptr && *home == '/' ? std::string(home) + "/.local/state/zem" : "";
}

std::string ReadKept(const std::string& folder, const std::string& key,
                     std::chrono::milliseconds patience, UniqueFd* hold) {
  const std::string path = PathOf(folder, key);
  *hold = OpenAlone(path, patience);
  if (!hold->IsOpen()) {
    const int error = errno;
    // A closed folder holds nothing of this user's: HOME may be of whoever started a scheduler.
    if (error == ENOENT || access(folder.c_str(), X_OK) != 0) return "";
    errno = error;
    Fail("open", path);
  }
  std::string text;
  char buffer[4096];
  ssize_t got = 0;
  while ((got = read(hold->Get(), buffer, sizeof(buffer))) > 0) {
    text.append(buffer, static_cast<size_t>(got));
  }
  if (got < 0) Fail("read", path);
  if (!text.starts_with(key + '\n')) throw std::runtime_error(path + " does not belong to " + key);
  return text.substr(key.size() + 1);
}

void WriteKept(const std::string& folder, const std::string& key, const std::string& text) {
  MakeFolders(folder);
  const std::string path = PathOf(folder, key);
  const std::string fresh = fmt::format("{}.{}", path, getpid());
  unlink(fresh.c_str());  // of a run that was killed
  const UniqueFd fd = CreateExclusively(OvString(fresh), 0600);
  if (!fd.IsOpen()) Fail("make", fresh);
  if (!WriteAll(fd.Get(), key + '\n' + text) || !SyncToDisk(fd.Get()) ||
      rename(fresh.c_str(), path.c_str()) != 0) {
    const int error = errno;
    unlink(fresh.c_str());
    errno = error;
    Fail("write", path);
  }
}

}  // namespace zem::client
