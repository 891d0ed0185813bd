// SPDX-License-Identifier: BSD-2-Clause
// A configuration file from anywhere: load, save, load again, and nothing is lost: no setting, and
// no line that is none of the agent's to rewrite. A second save changes nothing that counts.
#include <string>
#include <vector>

#include "core/config_file.h"
#include "core/unique_fd.h"
#include "fuzz.h"
#include "inside.h"
#include "memory_tree.h"
#include "text/file_info.h"

namespace zem {
namespace {

// Lines near the limit lose their tails on purpose.
constexpr size_t kLongestLine = 1000;
constexpr const char* kPath = "/zem.cfg";

bool HasLongLine(std::string_view text) {
  while (text.size() > kLongestLine) {
    const size_t end = text.find('\n');
    if (end > kLongestLine) return true;  // npos too
    text.remove_prefix(end + 1);
  }
  return false;
}

// A text as a line of the file can carry it.
std::string OnALine(const SettingRow& row, const OvString& held) {
  std::string text(IsFilterList(row) ? FileFilterList(held).View() : held.View());
  for (char& byte : text) byte = byte == '\r' || byte == '\n' || byte == '\0' ? ' ' : byte;
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

void CheckSame(const SettingRow& row, const Settings& before, const Settings& after) {
  if (const auto* text = std::get_if<OvString Settings::*>(&row.member)) {
    const OvString& held = before.*(*text);
    const OvString& again = after.*(*text);
    FUZZ_CHECK(held == again || OnALine(row, held) == OnALine(row, again));
  } else if (const auto* flag = std::get_if<bool Settings::*>(&row.member)) {
    FUZZ_CHECK(before.*(*flag) == after.*(*flag));
  } else {
    const auto number = std::get<int Settings::*>(row.member);
    FUZZ_CHECK(before.*number == after.*number);
  }
}

Settings Loaded() {
  Settings settings;
  settings.config_path = kPath;
  OvString error;
  (void)LoadSettings(&settings, &error);  // what is missing is no concern here
  return settings;
}

void CheckLines(std::string_view text) {
  while (!text.empty()) {
    const size_t end = text.find('\n');
    FUZZ_CHECK(end < kLongestConfigLine);
    text.remove_prefix(end + 1);
  }
}

std::string_view WithoutLineEnd(std::string_view line) {
  if (!line.ends_with('\n')) return line;
  line.remove_suffix(line.ends_with("\r\n") ? 2 : 1);
  return line;
}

// A byte that no line can carry is a blank after the first save, and at the end of a line gone
// after the second.
std::string WithoutTrailingBlanks(std::string_view text) {
  std::string kept;
  for (const char byte : text) {
    if (byte == '\r' || byte == '\n') kept.erase(kept.find_last_not_of(" \t") + 1);
    kept += byte;
  }
  return kept;
}

// The lines that a save copies: comments, unknown keys, keys it never writes.
std::vector<std::string> CopiedLines() {
  std::vector<std::string> lines;
  const FilePtr file = OpenForReading(kPath);
  OvString line;
  while (ReadConfigLine(file.get(), &line)) {
    ConfigLine parsed;
    const SettingRow* row = ParseConfigLine(line, &parsed) ? FindSettingByKey(parsed.key) : nullptr;
    if (row != nullptr && row->on_save != OnSave::kNever) continue;
    lines.emplace_back(WithoutLineEnd(line));
  }
  return lines;
}

}  // namespace
}  // namespace zem

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text = zem::Text(data, size);
  zem::PutFile(zem::kPath, text);
  const zem::Inside inside;
  const bool has_long_line = zem::HasLongLine(text);
  const std::vector<std::string> lines = zem::CopiedLines();
  const zem::Settings before = zem::Loaded();
  zem::OvString error;
  FUZZ_CHECK(zem::SaveSettings(before, &error));
  const std::string saved = zem::TextOf(zem::kPath);
  zem::CheckLines(saved);
  FUZZ_CHECK(zem::TextOf("/zem.cfg.Old") == text);
  if (has_long_line) return 0;
  FUZZ_CHECK(zem::CopiedLines() == lines);
  const zem::Settings after = zem::Loaded();
  for (const zem::SettingRow& row : zem::SettingsTable()) zem::CheckSame(row, before, after);
  // The second save takes a third of the time: inputs of every fourth length are enough for it.
  if (size % 4 != 0) return 0;
  FUZZ_CHECK(zem::SaveSettings(after, &error));
  const std::string again = zem::TextOf(zem::kPath);
  FUZZ_CHECK(again == saved ||
             zem::WithoutTrailingBlanks(again) == zem::WithoutTrailingBlanks(saved));
  return 0;
}
