// SPDX-License-Identifier: BSD-2-Clause
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <string_view>

#include "helpers/processes.h"

namespace zem {

const size_t kKernelNameLength = 15;

namespace {

// At most `most` bytes of a file; on failure errno tells why. These files are read by the kernel's
// rule that less than was asked for is all there is.
bool ReadFile(int folder, const char* name, size_t most, std::string* text) {
  const int file = openat(folder, name, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  text->clear();
  char buffer[4096];
  size_t wanted = 0;
  ssize_t got = 0;
  do {
    wanted = std::min(sizeof(buffer), most - text->size());
    got = read(file, buffer, wanted);
    if (got > 0) text->append(buffer, static_cast<size_t>(got));
  } while (got == static_cast<ssize_t>(wanted) && text->size() < most);
  const int error = errno;
  close(file);
  errno = error;
  return got >= 0;
}

// "PID (NAME) STATE PARENT ..." NAME can hold anything, ") " too, but what follows it is a letter
// and numbers.
bool ReadStat(const std::string& stat, Process* process) {
  const size_t open = stat.find('(');
  const size_t close = stat.rfind(')');
  if (open == std::string::npos || close == std::string::npos || close < open) return false;
  char state = 0;
  int parent = 0;
  long threads = 0;
  if (sscanf(stat.c_str() + close + 1,
             " %c %d %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %ld", &state,
             &parent, &threads) != 3) {
    return false;
  }
  process->parent = parent;
  process->name = stat.substr(open + 1, close - open - 1);
  // A zombie with threads left is a program whose first thread ended: it still runs.
  process->running = state != 'X' && state != 'x' && (state != 'Z' || threads > 1);
  return true;
}

Reading Failure() {
  return errno == ENOENT || errno == ESRCH ? Reading::kGone : Reading::kFailed;
}

}  // namespace

Reading ReadProcess(const std::string& root, pid_t pid, Process* process) {
  // Both files through one descriptor: it stays with the process, should the number be used again.
  const std::string path = root + "/" + std::to_string(pid);
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return Failure();
  std::string stat;
  Reading result = Reading::kDone;
  if (!ReadFile(folder, "stat", 4096, &stat) ||
      !ReadFile(folder, "cmdline", kMostArguments, &process->arguments)) {
    result = Failure();
  } else if (!ReadStat(stat, process)) {
    result = Reading::kFailed;
  }
  close(folder);
  process->arguments.erase(0, process->arguments.find_first_not_of('\0'));
  process->kernel = process->arguments.empty() && process->parent == 2;
  return result;
}

std::optional<std::vector<pid_t>> ListProcesses(const std::string& root) {
  // With "hidepid" the first process is the one that nobody but root can read.
  Process first;
  DIR* folder = opendir(root.c_str());
  if (folder == nullptr) return std::nullopt;
  std::vector<pid_t> pids;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread
  while (const dirent* entry = readdir(folder)) {
    const std::string_view name = entry->d_name;
    pid_t pid = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (error == std::errc() && end == name.data() + name.size()) pids.push_back(pid);
  }
  closedir(folder);
  if (ReadProcess(root, 1, &first) != Reading::kDone) return std::nullopt;
  return pids;
}

std::optional<CpuTicks> ReadCpuTicks(const std::string& root) {
  std::string text;
  if (!ReadFile(AT_FDCWD, (root + "/stat").c_str(), 1024, &text)) return std::nullopt;
  // user nice system idle iowait irq softirq steal, the last four not on every kernel. The time of
  // guests, which follows, is left out: user and nice contain it.
  int64_t t[8] = {};
  if (!text.starts_with("cpu ") ||
      sscanf(text.c_str() + 4,
             "%" SCNd64 "%" SCNd64 "%" SCNd64 "%" SCNd64 "%" SCNd64 "%" SCNd64 "%" SCNd64
             "%" SCNd64,
             &t[0], &t[1], &t[2], &t[3], &t[4], &t[5], &t[6], &t[7]) < 4) {
    return std::nullopt;
  }
  CpuTicks ticks = {.total = 0, .idle = t[3] + t[4]};
  for (const int64_t part : t) ticks.total += part;
  return ticks;
}

}  // namespace zem
