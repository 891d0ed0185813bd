// SPDX-License-Identifier: BSD-2-Clause
#include "helpers/answers.h"

#include <unistd.h>

#include <algorithm>
#include <functional>
#include <set>

namespace zem {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kWhiteSpace = "\0 \t\n"sv;  // a zero byte ends an argument
constexpr size_t kLongestName = 255;
// A process stuck in the kernel can block whoever reads its arguments; only a deadly signal ends
// that wait.
constexpr unsigned kSecondsAProcess = 5;

// On one line. The caller's shell splits at white space, so any run of it counts as one blank.
std::string Clean(std::string_view text) {
  std::string clean;
  for (const char c : text) {
    if (kWhiteSpace.find(c) != std::string_view::npos) {
      if (!clean.empty() && clean.back() != ' ') clean += ' ';
    } else {
      clean += (c > 0 && c < ' ') || c == '\177' ? '?' : c;
    }
  }
  if (clean.ends_with(' ')) clean.pop_back();
  return clean;
}

std::string_view FirstWord(std::string_view text) {
  return text.substr(0, text.find_first_of(kWhiteSpace));
}

// The first few arguments that are not empty.
std::vector<std::string_view> Arguments(const Process& process, size_t most) {
  std::vector<std::string_view> words;
  std::string_view rest = process.arguments;
  while (!rest.empty() && words.size() < most) {
    const size_t end = std::min(rest.find('\0'), rest.size());
    if (end > 0) words.push_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return words;
}

// A kernel worker shows its work of the moment behind its name: "kworker/0:1H-events_highpri".
std::string_view WithoutWork(std::string_view name) {
  constexpr std::string_view kWorker = "kworker/";
  if (!name.starts_with(kWorker)) return name;
  size_t end = name.find_first_not_of("u:0123456789", kWorker.size());
  if (end == std::string_view::npos || end == kWorker.size()) return name;
  while (end < name.size() && name[end] >= 'A' && name[end] <= 'Z') ++end;
  return name.substr(
      0, end < name.size() && (name[end] == '-' || name[end] == '+') ? end : name.size());
}

struct Name {
  std::string text;
  bool cut = false;  // the kernel cut it, and the arguments do not tell the rest
};

// Behind "#!" the interpreter comes first and the script second or third; a title that a process
// gave itself reads "name: what it does".
Name NameOf(const Process& process) {
  const std::string_view kept = process.name;
  if (process.arguments.empty() && WithoutWork(kept) != kept) return {Clean(WithoutWork(kept))};
  if (kept.size() != kKernelNameLength) return {Clean(kept)};
  for (const std::string_view argument : Arguments(process, 3)) {
    for (const std::string_view candidate : {BaseName(argument), BaseName(FirstWord(argument))}) {
      if (!candidate.starts_with(kept)) continue;
      std::string_view rest = FirstWord(candidate.substr(kept.size()));
      if (rest.ends_with(':')) rest.remove_suffix(1);
      if (kept.size() + rest.size() <= kLongestName) {
        return {Clean(std::string(kept).append(rest))};
      }
    }
  }
  Name name = {Clean(kept)};
  // One that shrank when it was cleaned would begin more names than the kernel's cut leaves open.
  name.cut = !process.kernel && name.text.size() == kept.size();
  return name;
}

// A cut name that the arguments do not complete is taken for any name it begins.
bool IsNamed(const Process& process, const std::string& wanted) {
  const Name name = NameOf(process);
  if (name.text == wanted || (name.cut && wanted.starts_with(name.text))) return true;
  if (process.arguments.empty()) {
    const std::string kept = Clean(process.name);
    return wanted == kept || wanted == "[" + kept + "]";
  }
  return wanted.find_first_of("/ ") != std::string::npos &&
         Clean(process.arguments).find(wanted) != std::string::npos;
}

bool IsProgram(std::string_view name) {
  return name == "zem-proccount" || name == "zem-proclist";
}

// What another request runs: this program, or the shell that was told to run it.
bool IsAnotherRun(const Process& process) {
  if (IsProgram(process.name)) return true;
  if (!process.name.ends_with("sh") && process.name != "busybox") return false;
  const std::vector<std::string_view> words = Arguments(process, 8);
  size_t i = words.size() > 1 && words[1].ends_with("sh") ? 2 : 1;
  while (i < words.size() && words[i].starts_with('-')) ++i;
  return i < words.size() && IsProgram(BaseName(FirstWord(words[i])));
}

// This process and its callers, whatever they are (sh -c, sudo), as far up as they name it.
std::set<pid_t> OwnProcesses(const std::string& root, std::string_view program) {
  std::set<pid_t> own = {getpid()};
  pid_t pid = getppid();
  Process process;
  while (!own.contains(pid) && ReadProcess(root, pid, &process) == Reading::kDone &&
         process.arguments.find(program) != std::string::npos) {
    own.insert(pid);
    pid = process.parent;
  }
  return own;
}

// Shows every process that counts; false when there is no answer to be had.
bool ForEach(const std::string& root, std::string_view program,
             const std::function<void(const Process&)>& show) {
  alarm(kSecondsAProcess);
  const std::set<pid_t> own = OwnProcesses(root, program);
  const std::optional<std::vector<pid_t>> pids = ListProcesses(root);
  bool whole = pids.has_value();
  Process process;
  for (size_t i = 0; whole && i < pids->size(); ++i) {
    alarm(kSecondsAProcess);
    const Reading reading = ReadProcess(root, (*pids)[i], &process);
    whole = reading != Reading::kFailed;
    if (reading != Reading::kDone || !process.running || own.contains((*pids)[i])) continue;
    if (!IsAnotherRun(process)) show(process);
  }
  alarm(0);
  return whole;
}

}  // namespace

std::string_view BaseName(std::string_view path) {
  return path.substr(path.rfind('/') + 1);  // npos + 1 is 0
}

std::string CountAnswer(const std::string& root, std::string_view program,
                        std::string_view wanted) {
  const std::string name = Clean(wanted);
  size_t count = 0;
  const auto add = [&](const Process& process) { count += IsNamed(process, name) ? 1 : 0; };
  if (name.empty() || !ForEach(root, program, add)) return "";
  return std::to_string(count) + "\n";
}

std::string ListAnswer(const std::string& root, std::string_view program) {
  std::set<std::string> names;
  if (!ForEach(root, program, [&](const Process& p) { names.insert(NameOf(p).text); })) return "";
  names.erase("");
  std::string list;
  for (const std::string& name : names) list.append(list.empty() ? "" : "\n").append(name);
  return list;
}

std::string UsageAnswer(const CpuTicks& before, const CpuTicks& after) {
  const int64_t total = after.total - before.total;
  const int64_t busy = total - (after.idle - before.idle);
  if (total <= 0) return "";
  // In whole tenths, rounded: no locale can put a comma there. Linux lets the idle counters step
  // back a little, hence the bounds.
  const int64_t tenths = std::clamp<int64_t>((2000 * busy + total) / (2 * total), 0, 1000);
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + "\n";
}

}  // namespace zem
