// SPDX-License-Identifier: BSD-2-Clause
#include "walk_model.h"

#include <dirent.h>
#include <fnmatch.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace zem::model {

namespace {

bool IsFolder(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

unsigned Attributes(const std::string& path, const std::string& name, const struct stat& info) {
  unsigned bits = 0;
  if (access(path.c_str(), W_OK) != 0) bits |= 1;
  if (name[0] == '.' && name != "." && name != "..") bits |= 2;
  if (!S_ISDIR(info.st_mode) && !S_ISREG(info.st_mode)) bits |= 4;
  if (S_ISDIR(info.st_mode)) bits |= 16;
  if (S_ISLNK(info.st_mode)) bits = 64 + (IsFolder(path) ? 16 : 0) + 4;
  return bits;
}

bool IsDots(const Entry& entry) {
  return entry.name == "." || entry.name == "..";
}

bool IsFolder(const Entry& entry) {
  return (entry.attributes & 16) != 0;
}

}  // namespace

std::vector<Entry> Search(std::string directory, const std::string& mask, unsigned requested) {
  char buffer[PATH_MAX] = "";
  if (directory.empty()) directory = getcwd(buffer, sizeof(buffer));
  if (directory.back() != '/') directory += '/';
  std::vector<Entry> result;
  DIR* stream = opendir(directory.c_str());
  if (stream == nullptr) return result;
  while (const dirent* item = readdir(stream)) {
    const std::string name = item->d_name;
    const std::string path = directory + name;
    struct stat info;
    if (fnmatch(mask.c_str(), name.c_str(), 0) != 0 || lstat(path.c_str(), &info) != 0) continue;
    const unsigned bits = Attributes(path, name, info);
    if ((~(requested & 63) & bits) == 0) {
      result.push_back({name, info.st_mtime, info.st_size, bits});
    }
  }
  closedir(stream);
  return result;
}

namespace {

bool IsLink(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

enum class Place : bool { kTop, kBelow };

double FolderSizeAt(const std::string& path, bool with_subfolders, Place place) {
  const size_t slash = path.rfind('/') + 1;
  // A link named "*" could lead round in circles, and is not followed.
  const bool circles = place == Place::kBelow && path.substr(slash) == "*" && IsLink(path);
  const bool is_folder = IsFolder(path) && !circles;
  std::string folder = is_folder ? path : path.substr(0, slash);
  const std::string mask = is_folder ? "*" : path.substr(slash);
  const std::vector<Entry> entries = Search(folder, "*", 63);
  if (entries.empty()) return -1;
  if (folder.empty() || folder.back() != '/') folder += '/';
  double total = 0;
  for (const Entry& entry : entries) {
    if (IsFolder(entry)) {
      if (!with_subfolders || IsDots(entry)) continue;
      total += std::max(0.0, FolderSizeAt(folder + entry.name + "/" + mask, true, Place::kBelow));
    } else if (fnmatch(mask.c_str(), entry.name.c_str(), 0) == 0) {
      total += static_cast<double>(entry.size);
    }
  }
  return total;
}

}  // namespace

double FolderSize(const std::string& path, bool with_subfolders) {
  return FolderSizeAt(path, with_subfolders, Place::kTop);
}

int CountFiles(std::string folder, const std::string& mask, bool with_subfolders, int mode,
               int limit, time_t now) {
  if (!folder.empty() && folder.back() != '/') folder += '/';
  const std::vector<Entry> matched = Search(folder, mask, 63);
  if (matched.empty() && !with_subfolders) return Search(folder, "*", 16).empty() ? -1 : 0;
  int count = 0;
  for (const Entry& entry : matched) {
    const int minute = static_cast<int>(entry.time / 60);
    const int limit_minute = static_cast<int>(now / 60) - limit;
    const bool counts[] = {true, minute<limit_minute, minute> limit_minute, entry.size > limit,
                           entry.size < limit, false};
    if (IsFolder(entry) ? mode == 5 && !IsDots(entry) : counts[mode]) ++count;
  }
  if (!with_subfolders) return count;
  const std::vector<Entry> candidates = Search(folder, "*", 16);
  if (candidates.empty()) return -1;
  for (const Entry& entry : candidates) {
    if (!IsFolder(entry) || IsDots(entry)) continue;
    count += std::max(0, CountFiles(folder + entry.name, mask, true, mode, limit, now));
  }
  return count;
}

std::string ResolveMacros(const std::string& path) {
  std::string rest = path;
  std::string lower = path;
  for (char& byte : lower) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte + 32);
  }
  std::string result;
  for (;;) {
    const std::string macros[] = {"%newestfile%", "%oldestfile%", "%newestfolder%",
                                  "%oldestfolder%"};
    size_t at = std::string::npos;
    size_t which = 0;
    for (size_t i = 0; i < 4; ++i) {
      const size_t found = lower.find(macros[i]);
      if (found < at) at = found, which = i;
    }
    if (at == std::string::npos) return result + rest;
    result += rest.substr(0, at);
    rest.erase(0, at + macros[which].size());
    lower.erase(0, at + macros[which].size());
    int64_t best = 0;
    std::string name;
    for (const Entry& entry : Search(result, "*", 63)) {
      if (IsDots(entry) || IsFolder(entry) != (which >= 2)) continue;
      if (best == 0 || (which % 2 == 0 ? entry.time > best : entry.time < best)) {
        best = entry.time;
        name = entry.name;
      }
    }
    if (best == 0) return path;
    result += name;
  }
}

}  // namespace zem::model
