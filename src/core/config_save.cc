// SPDX-License-Identifier: BSD-2-Clause
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <vector>

#include "core/config_file.h"
#include "core/unique_fd.h"
#include "text/file_info.h"
#include "text/path.h"

namespace zem {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
// Room for text on a line of the file beside its line end.
constexpr size_t kLineRoom = kLongestConfigLine - kLineEnd.size();
constexpr mode_t kPrivateMode = 0600;

// The value as one line of the file can hold it: no setting can bring in a line of its own.
OvString OneLine(const SettingRow& row, std::string_view held) {
  OvString text = IsFilterList(row) ? FileFilterList(held) : OvString(held);
  char* bytes = text.Resize(text.Length());
  for (size_t i = 0; i < text.Length(); ++i) {
    if (bytes[i] == '\r' || bytes[i] == '\n' || bytes[i] == '\0') bytes[i] = ' ';
  }
  return text;
}

OvString ValueText(const SettingRow& row, const Settings& settings) {
  if (const auto* text = std::get_if<OvString Settings::*>(&row.member)) {
    return OneLine(row, settings.*(*text));
  }
  if (const auto* flag = std::get_if<bool Settings::*>(&row.member)) {
    return settings.*(*flag) ? "1" : "0";
  }
  return OvString().AppendInt(settings.*std::get<int Settings::*>(row.member));
}

// Texts and numbers end their line: what stood behind the value goes.
void EndLineWith(std::string_view value, size_t offset, OvString* line) {
  const size_t prefix = std::min(offset, kLineRoom);
  line->Truncate(prefix);
  line->Append(value.substr(0, kLineRoom - prefix)).Append(kLineEnd);
}

// A flag changes one digit and leaves the rest of its line, a remark perhaps, alone.
void PutFlagDigit(std::string_view digit, const ConfigLine& parsed, OvString* line) {
  if (!parsed.value.empty()) {
    line->Resize(line->Length())[parsed.value_offset] = digit.front();
    return;
  }
  // Only blanks and the line end stand behind; one blank makes room where the line is full.
  const bool full = line->Length() >= kLongestConfigLine;
  const OvString rest = line->Substring(parsed.equals + (full ? 3 : 2), line->Length());
  line->Truncate(parsed.equals + 1);
  line->Append(digit).Append(rest);
}

void RewriteLine(const SettingRow& row, const ConfigLine& parsed, const Settings& settings,
                 OvString* line) {
  const OvString value = ValueText(row, settings);
  if (std::holds_alternative<bool Settings::*>(row.member)) {
    PutFlagDigit(value, parsed, line);
  } else if (!value.IsEmpty()) {
    // Deliberate: an empty text leaves the old value in the file.
    EndLineWith(value, parsed.value_offset, line);
  }
}

// Gives a line without an end one. A piece too long to carry it keeps all its bytes on two lines.
void AppendWithLineEnd(std::string_view line, OvString* file) {
  while (line.size() > kLineRoom && line.back() != '\n') {
    file->Append(line.substr(0, kLineRoom)).Append(kLineEnd);
    line.remove_prefix(kLineRoom);
  }
  file->Append(line);
  if (!line.empty() && line.back() != '\n') file->Append(kLineEnd);
}

void AppendMissingKeys(const Settings& settings, const std::vector<const SettingRow*>& written,
                       OvString* file) {
  for (const SettingRow& row : SettingsTable()) {
    if (row.on_save != OnSave::kAppend) continue;
    if (std::find(written.begin(), written.end(), &row) != written.end()) continue;
    OvString line(row.key);
    line.Append('=');
    EndLineWith(ValueText(row, settings), line.Length(), &line);
    file->Append(line);
  }
}

// The whole text of the new file; false on a read error.
bool ComposeFile(FILE* old_file, const Settings& settings, OvString* new_text) {
  std::vector<const SettingRow*> written;
  OvString line;
  while (ReadConfigLine(old_file, &line)) {
    ConfigLine parsed;
    const SettingRow* row = ParseConfigLine(line, &parsed) ? FindSettingByKey(parsed.key) : nullptr;
    if (row != nullptr && row->on_save != OnSave::kNever) {
      RewriteLine(*row, parsed, settings, &line);
      written.push_back(row);
    }
    AppendWithLineEnd(line, new_text);
  }
  line.Wipe();
  if (ferror(old_file) != 0) return false;
  AppendMissingKeys(settings, written, new_text);
  return true;
}

OvString WithSuffix(const OvString& path, std::string_view suffix) {
  OvString result = path;
  result.Append(suffix);
  return result;
}

// Owner first: changing it clears set-id bits, and until the mode follows the file is private.
// Where the owner cannot be kept nobody else may read the password.
bool TakeOverOwnerAndMode(int from, int to) {
  struct stat info;
  if (fstat(from, &info) != 0) return false;
  const bool owned = fchown(to, info.st_uid, info.st_gid) == 0;
  return fchmod(to, owned ? info.st_mode & 07777 : kPrivateMode) == 0;
}

// Writes the file and brings it to the disk; a failure leaves nothing behind.
bool WriteNewFile(const OvString& path, std::string_view text, int model) {
  unlink(path.CStr());
  const UniqueFd file = CreateExclusively(path, kPrivateMode);
  if (!file.IsOpen()) return false;
  if (TakeOverOwnerAndMode(model, file.Get()) && WriteAll(file.Get(), text) &&
      SyncToDisk(file.Get())) {
    return true;
  }
  unlink(path.CStr());
  return false;
}

void CopyFile(FILE* from, const OvString& path) {
  OvString text;
  char buffer[4096];
  if (fseek(from, 0, SEEK_SET) != 0) return;
  size_t count = 0;
  while ((count = fread(buffer, 1, sizeof(buffer), from)) > 0) {
    text.Append(std::string_view(buffer, count));
  }
  (void)WriteNewFile(path, text, fileno(from));  // a missing ".Old" does not fail a save
  text.Wipe();
}

// Where the path is a link, the file at its end: a rename onto the link would put a file in its
// place. Links are followed as they come, as the load does: the folder is the administrator's, and
// who could plant one in it could as well write the settings.
OvString FileBehind(const OvString& path) {
  struct stat info;
  char end[PATH_MAX];
  if (!LinkStatPath(path, &info) || !S_ISLNK(info.st_mode)) return path;
  return realpath(path.CStr(), end) == nullptr ? path : OvString(end);
}

// A second name for the present file, so that the path itself is never without one.
void KeepOldFile(FILE* old_file, const OvString& path) {
  const OvString old_path = WithSuffix(path, ".Old");
  unlink(old_path.CStr());
  if (link(path.CStr(), old_path.CStr()) != 0) CopyFile(old_file, old_path);
}

// Makes the rename itself durable. Failing to is no failure of the save: the file is in place.
void SyncDirectoryOf(const OvString& path) {
  OvString directory = ExtractFilePath(path);
  if (directory.IsEmpty()) directory = ".";
  const UniqueFd fd(open(directory.CStr(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.IsOpen()) (void)SyncToDisk(fd.Get());
}

bool Fail(std::string_view what, std::string_view path, OvString* error) {
  *error = what;
  error->Append(path).Append('\'');
  return false;
}

}  // namespace

bool SaveSettings(const Settings& settings, OvString* error) {
  error->Clear();
  if (settings.config_path.IsEmpty()) {
    *error = "Configuration file is not specified";
    return false;
  }
  const OvString path = FileBehind(settings.config_path);
  const FilePtr old_file(OpenConfigFile(path, error));
  if (!old_file) return false;
  OvString text;
  if (!ComposeFile(old_file.get(), settings, &text)) {
    return Fail("Cannot open configuration file '", path, error);
  }
  const OvString new_path = WithSuffix(path, ".New");
  const bool written = WriteNewFile(new_path, text, fileno(old_file.get()));
  text.Wipe();
  if (!written) return Fail("Cannot create new configuration file '", new_path, error);
  KeepOldFile(old_file.get(), path);
  if (rename(new_path.CStr(), path.CStr()) != 0) {
    unlink(new_path.CStr());
    return Fail("Cannot overwrite configuration file '", path, error);
  }
  SyncDirectoryOf(path);
  return true;
}

}  // namespace zem
