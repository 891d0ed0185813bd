// SPDX-License-Identifier: BSD-2-Clause
// A configuration file from anywhere: load, save, load again, and nothing is lost.
#include <unistd.h>

#include <string>

#include "core/config_file.h"
#include "core/scratch.h"
#include "fuzz.h"
#include "text/file_info.h"

namespace zem {
namespace {

// Lines near the limit lose their tails on purpose.
constexpr size_t kLongestLine = 1000;

bool HasLongLine(std::string_view text) {
  while (text.size() > kLongestLine) {
    const size_t end = text.find('\n');
    if (end == std::string_view::npos || end > kLongestLine) return true;
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
    FUZZ_CHECK(OnALine(row, before.*(*text)) == OnALine(row, after.*(*text)));
  } else if (const auto* flag = std::get_if<bool Settings::*>(&row.member)) {
    FUZZ_CHECK(before.*(*flag) == after.*(*flag));
  } else {
    const auto number = std::get<int Settings::*>(row.member);
    FUZZ_CHECK(before.*number == after.*number);
  }
}

Settings Loaded(const std::string& path) {
  Settings settings;
  settings.config_path = path;
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

}  // namespace
}  // namespace zem

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // In memory where that is to be had: a save waits for its disk.
  static const zem::Scratch scratch(zem::DirectoryExists("/dev/shm") ? "/dev/shm" : "/tmp");
  const std::string path = scratch.Path("zem.cfg");
  const std::string_view text = zem::Text(data, size);
  scratch.Write("zem.cfg", text);
  const zem::Settings before = zem::Loaded(path);
  zem::OvString error;
  FUZZ_CHECK(zem::SaveSettings(before, &error));
  zem::CheckLines(scratch.Read("zem.cfg"));
  if (zem::HasLongLine(text)) return 0;
  const zem::Settings after = zem::Loaded(path);
  for (const zem::SettingRow& row : zem::SettingsTable()) zem::CheckSame(row, before, after);
  return 0;
}
