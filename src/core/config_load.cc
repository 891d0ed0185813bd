// SPDX-License-Identifier: BSD-2-Clause
#include <sys/stat.h>

#include <utility>

#include "core/config_file.h"
#include "core/environment.h"
#include "core/unique_fd.h"
#include "text/file_info.h"
#include "text/numbers.h"
#include "text/path.h"

namespace zem {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kBlanksAndLineEnds = " \t\r\n";

std::string_view CutRight(std::string_view text, std::string_view unwanted) {
  const size_t last = text.find_last_not_of(unwanted);
  return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

size_t FirstNotOf(std::string_view text, std::string_view unwanted, size_t from) {
  const size_t found = text.find_first_not_of(unwanted, from);
  return found == std::string_view::npos ? text.size() : found;
}

bool IsOn(std::string_view value) {
  return !value.empty() && value.front() == '1';
}

void StoreValue(const SettingRow& row, std::string_view value, Settings* settings) {
  if (const auto* text = std::get_if<OvString Settings::*>(&row.member)) {
    settings->*(*text) = IsFilterList(row) ? HeldFilterList(value) : OvString(value);
  } else if (const auto* flag = std::get_if<bool Settings::*>(&row.member)) {
    settings->*(*flag) = IsOn(value);
  } else if (!IsPort(row) || settings->port == 0) {
    // The port is read only while there is none: "-p" wins, and a reload never changes it.
    settings->*std::get<int Settings::*>(row.member) = ParseInt(value);
  }
}

void PutBackDefaults(Settings* settings) {
  for (const SettingRow& row : SettingsTable()) {
    if (row.on_load == OnLoad::kReset) StoreValue(row, row.reset_text, settings);
  }
}

void StoreLine(std::string_view line, Settings* settings) {
  ConfigLine parsed;
  if (!ParseConfigLine(line, &parsed)) return;
  const SettingRow* row = FindSettingByKey(parsed.key);
  if (row != nullptr) StoreValue(*row, parsed.value, settings);
}

// Pairs the i-th mark with the i-th item; an item counts when its mark is "1".
void DeriveAllowList(Settings* settings, OvString* warning) {
  settings->allow_list = "\r\n";
  std::string_view items = settings->filter_list;
  for (const char mark : settings->filter_marks.View()) {
    const std::string_view item = items.substr(0, items.find("\r\n"));
    if (item.empty()) {
      *warning = "FilterMarks has less items than FilterList";
      return;
    }
    if (mark == '1') settings->allow_list.Append(item).Append("\r\n");
    items.remove_prefix(item.size() < items.size() ? item.size() + 2 : items.size());
  }
}

// A script named without a directory lies beside the agent's program. An empty name stays empty:
// the check then says that no script is configured.
void CompleteScriptPath(std::string_view directory, OvString* script) {
  if (script->IsEmpty() || script->Find('/') != 0) return;
  OvString path(directory);
  path.Append(*script);
  *script = std::move(path);
}

bool Validate(const Settings& settings, OvString* error) {
  bool valid = true;
  const auto fail = [&valid, error](std::string_view text) {
    error->Append(text);
    valid = false;
  };
  // Deliberate: "post" is how this text has always read.
  if (settings.port == 0) fail("  TCP post is not specified!\n");
  if (settings.password.IsEmpty()) fail("  Password is not specified!\n");
  struct stat info;
  if (settings.zempath.IsEmpty() || settings.zempath.View().front() != '/') {
    fail("  Full path to the agent is not specified!\n");
  } else if (!StatPath(settings.zempath, &info)) {
    fail("  Invalid path to the agent!\n");
  }
  return valid;
}

void SetCannotOpen(const OvString& path, OvString* error) {
  *error = "Cannot open configuration file '";
  error->Append(path).Append('\'');
}

bool ReadSettings(Settings* settings, OvString* error) {
  const FilePtr file(OpenConfigFile(settings->config_path, error));
  if (!file) return false;
  OvString line;
  while (ReadConfigLine(file.get(), &line)) StoreLine(line, settings);
  if (ferror(file.get()) != 0) {
    SetCannotOpen(settings->config_path, error);
    return false;
  }
  line.Wipe();
  return true;
}

}  // namespace

bool ParseConfigLine(std::string_view line, ConfigLine* parsed) {
  if (line.empty() || line.front() == '#' || line.front() == ';') return false;
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) return false;
  std::string_view key = CutRight(line.substr(0, equals), kBlanks);
  key.remove_prefix(FirstNotOf(key, kBlanks, 0));
  parsed->key = key;
  parsed->key.LowerCase();
  parsed->equals = equals;
  parsed->value_offset = FirstNotOf(line, kBlanks, equals + 1);
  parsed->value = CutRight(line.substr(parsed->value_offset), kBlanksAndLineEnds);
  return true;
}

bool ReadConfigLine(FILE* file, OvString* line) {
  char buffer[kConfigLineBuffer];
  size_t length = 0;
  int byte = EOF;
  // Not fgets: a zero byte in the file must not hide the rest of its line.
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no two threads share a file
  while (length < kLongestConfigLine && (byte = getc_unlocked(file)) != EOF) {
    buffer[length++] = static_cast<char>(byte);
    if (byte == '\n') break;
  }
  *line = std::string_view(buffer, length);
  return length > 0;
}

FILE* OpenConfigFile(const OvString& path, OvString* error) {
  FilePtr file = OpenForReading(path);
  struct stat info;
  if (!file || fstat(fileno(file.get()), &info) != 0 || S_ISDIR(info.st_mode)) {
    SetCannotOpen(path, error);
    return nullptr;
  }
  return file.release();
}

void CompleteScriptPaths(Settings* settings) {
  const OvString directory = ExtractFilePath(settings->zempath);
  if (directory.IsEmpty()) return;
  CompleteScriptPath(directory, &settings->cpu_usage_script);
  CompleteScriptPath(directory, &settings->proc_list_script);
  CompleteScriptPath(directory, &settings->proc_cnt_script);
}

bool LoadSettings(Settings* settings, OvString* error) {
  error->Clear();
  PutBackDefaults(settings);
  if (settings->config_path.IsEmpty()) {
    *error = "Configuration file is not specified";
    return false;
  }
  if (!ReadSettings(settings, error)) return false;
  DeriveAllowList(settings, error);
  CompleteScriptPaths(settings);
  ExportTempDirectory(settings->tmp_dir);
  if (settings->timeout == 0) settings->timeout = kDefaultTimeout;
  return Validate(*settings, error);
}

}  // namespace zem
