// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "commands/forms.h"
#include "commands/table.h"
#include "model/words.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr Argument kArguments[] = {
    {"folder", "folder,--folder", kOptional, "FOLDER", "what to list (/)"},
    {"mask", "mask,--mask", kOptional, "MASK", "shell pattern: files alone whose names match"},
    {"dirs", "--dirs", kFlag, "", "sub-folders alone"},
    {"files", "--files", kFlag, "", "files alone"},
    {"all", "-a,--all", kFlag, "", "hidden entries too"},
    {"system", "--system", kFlag, "", "devices, sockets and the like too"},
    {"ctime", "--ctime", kFlag, "", "the time of the last status change too"},
};

// What the attribute bits of an entry say.
constexpr int64_t kReadOnly = 1;
constexpr int64_t kHidden = 2;
constexpr int64_t kSystem = 4;
constexpr int64_t kDirectory = 16;

constexpr size_t kHeaderLines = 3;

// Without its last "/": of a folder that ends in one the agent lists nothing where it is not there,
// of another one it lists, and names, the folder above.
std::string FolderOf(const Arguments& arguments) {
  std::string folder = arguments.Text("folder", "/");
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return folder;
}

bool HasMask(const Arguments& arguments) {
  return arguments.Text("mask", "*") != "*";
}

Plan BuildList(const Arguments& arguments) {
  const bool dirs = arguments.Has("dirs");
  if (dirs && arguments.Has("files")) {
    throw std::invalid_argument("--dirs and --files exclude each other");
  }
  if (dirs && HasMask(arguments)) throw std::invalid_argument("MASK is for files, not for --dirs");
  Arguments asked = arguments;
  asked.Set("folder", {FolderOf(arguments)});
  // Folders always: the way up among them tells a folder that can be read. Sizes and modification
  // times always.
  return PlanFor("GetFilesList folder mask 1 dirs! all? system? 1 ctime? 1", asked);
}

// Reads entries one after the other. A name may hold line feeds, which the agent sends as they
// are; what follows a name (number, size, time stamps) tells where it ends.
class EntryReader {
 public:
  EntryReader(const Reply& reply, bool changed) : reply_(reply), changed_(changed) {}

  // One entry; false at the end. Lines that make no entry are a bad reply.
  bool Next(Record* entry) {
    if (line_ > reply_.lines.size()) return false;
    std::string name(reply_.Line(line_));
    while (!DetailsFollow(line_ + 1)) {
      if (++line_ > reply_.lines.size()) throw BadReply("the list of entries is cut short");
      name.append(1, '\n').append(reply_.Line(line_));
    }
    const int64_t attributes = IntLine(reply_, line_ + 1);
    *entry = Record{
        {"name", name},
        {"type", (attributes & kDirectory) != 0 ? "folder"
                 : (attributes & kSystem) != 0  ? "other"
                                                : "file"},
        {"size_bytes", BytesOf(reply_, line_ + 2)},
    };
    size_t next = line_ + 3;
    if (changed_) entry->emplace_back("changed", StampOf(reply_, next++));
    entry->emplace_back("modified", StampOf(reply_, next++));
    entry->emplace_back("read_only", (attributes & kReadOnly) != 0);
    entry->emplace_back("hidden", (attributes & kHidden) != 0);
    line_ = next;
    return true;
  }

 private:
  bool DetailsFollow(size_t line) const {
    double size = 0;
    if (!ParseWhole(reply_.Line(line)) || !ParseDecimal(Trimmed(reply_.Line(line + 1)), &size)) {
      return false;
    }
    const size_t stamps = changed_ ? 2 : 1;
    for (size_t i = 0; i < stamps; ++i) {
      if (!ParseStamp(reply_.Line(line + 2 + i))) return false;
    }
    return true;
  }

  const Reply& reply_;
  const bool changed_;
  size_t line_ = kHeaderLines + 1;
};

// Folders before files, each by name.
bool FolderThenName(const Value& a, const Value& b) {
  const auto key = [](const Value& entry) {
    return std::pair(*entry["type"].As<std::string>() != "folder",
                     std::string_view(*entry["name"].As<std::string>()));
  };
  return key(a) < key(b);
}

// Whether the entry is one of those that were asked for. The agent's mask lets every folder
// through.
bool IsWanted(const Record& entry, const Arguments& arguments) {
  const Value& name = entry[0].second;
  if (*name.As<std::string>() == "..") return false;
  const bool files_alone = arguments.Has("files") || HasMask(arguments);
  return !files_alone || *entry[1].second.As<std::string>() != "folder";
}

Value ParseList(const Answer& answer) {
  const std::string folder = FolderOf(answer.arguments);
  const std::string whole = folder == "/" ? folder : folder + '/';
  if (answer.reply.Line(1) != whole) {
    throw NoAnswer(folder + ": no such folder, or closed to the agent's user");
  }
  const bool changed = answer.arguments.Has("ctime");
  const int64_t count = IntLine(answer.reply, 2);
  const int64_t lines_an_entry = IntLine(answer.reply, 3);
  if (lines_an_entry != (changed ? 5 : 4))
    throw BadReply("the entries have another form than asked for");
  if (count == 0) throw NoAnswer(folder + ": not readable for the agent's user");
  List entries;
  EntryReader reader(answer.reply, changed);
  int64_t found = 0;
  for (Record entry; reader.Next(&entry); ++found) {
    if (IsWanted(entry, answer.arguments)) entries.push_back(std::move(entry));
  }
  std::stable_sort(entries.begin(), entries.end(), FolderThenName);
  if (found != count) {
    throw BadReply(fmt::format("{} entries announced, {} found", count, found));
  }
  return Record{
      {"folder", answer.reply.Line(1)}, {"count", entries.size()}, {"entries", std::move(entries)}};
}

constexpr Command kRows[] = {
    {
        .name = "ls",
        .summary = "the entries of a folder",
        .switch_keys = "one of foldersize, countfiles, fileexists, filecrc, comparefiles, textlog",
        .arguments = kArguments,
        .subject = "{folder}",
        .build = BuildList,
        .parse = ParseList,
        .summarise = Says<"{count:.0f} entries in {folder}">,
        .check = Judge<"entries", "count">,
        .notes = "Symbolic links and the way up (..) are never listed, and folders not with a "
                 "MASK. Times\n"
                 "are the agent's local time. As a check: -w and -c apply to the number of those "
                 "listed.",
    },
};

}  // namespace

const std::span<const Command> kListCommands = kRows;

}  // namespace zem::client
