// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/file_macros.h"

#include <cstdint>
#include <string_view>

#include "checks/files/directory_walker.h"

namespace zem {

namespace {

struct Macro {
  std::string_view text;
  bool newest;
  bool folder;
};

constexpr Macro kMacros[] = {
    {"%newestfile%", true, false},
    {"%oldestfile%", false, false},
    {"%newestfolder%", true, true},
    {"%oldestfolder%", false, true},
};

const Macro* MacroAt(std::string_view text) {
  for (const Macro& macro : kMacros) {
    if (EqualsIgnoringCase(text.substr(0, macro.text.size()), macro.text)) return &macro;
  }
  return nullptr;
}

// Splits `*rest` at its first macro; null when there is none, and `*rest` is left alone.
const Macro* TakeMacro(std::string_view* rest, std::string_view* before) {
  size_t at = rest->find('%');
  while (at != std::string_view::npos) {
    const Macro* macro = MacroAt(rest->substr(at));
    if (macro != nullptr) {
      *before = rest->substr(0, at);
      rest->remove_prefix(at + macro->text.size());
      return macro;
    }
    at = rest->find('%', at + 1);
  }
  return nullptr;
}

// The name that a macro stands for in a folder; false when there is none.
bool ChooseEntry(const OvString& folder, const Macro& macro, OvString* chosen) {
  SearchRecord record;
  record.scope = macro.folder ? SearchScope::kDirectories : SearchScope::kFiles;
  record.tell_read_only = false;
  // A best time of 0 says that nothing was taken yet, so an entry dated at the epoch itself gives
  // way to the next one, and alone it is no choice.
  int64_t best = 0;
  for (int found = FindFirst(folder, "*", attribute::kEverything, &record); found == 0;
       found = FindNext(&record)) {
    if (IsDotName(record.name)) continue;
    if (((record.attributes & attribute::kDirectory) != 0) != macro.folder) continue;
    if (best == 0 || (macro.newest ? record.time > best : record.time < best)) {
      best = record.time;
      *chosen = record.name;
    }
  }
  return best != 0;
}

}  // namespace

OvString ResolveFileMacros(const OvString& path) {
  OvString result;
  std::string_view rest = path;
  std::string_view before;
  while (const Macro* macro = TakeMacro(&rest, &before)) {
    result.Append(before);
    OvString chosen;
    if (!ChooseEntry(result, *macro, &chosen)) return path;
    result.Append(chosen);
  }
  return result.Append(rest);
}

}  // namespace zem
