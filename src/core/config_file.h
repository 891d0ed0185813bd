// SPDX-License-Identifier: BSD-2-Clause
// Reads the settings from the configuration file and rewrites them in it.
//
// Shapes:  key = value, one a line, lines of at most 1,023 bytes; a longer line is read in pieces,
//          each a line of its own.
// Errors:  false, and the reason in *error, which is emptied on entry. A load that succeeds may
//          leave a warning there. Nothing is logged.
// Threads: one at a time, for both: see SettingsStore.

#ifndef ZEM_CORE_CONFIG_FILE_H_
#define ZEM_CORE_CONFIG_FILE_H_

#include <cstdio>
#include <string_view>

#include "core/settings.h"
#include "text/ovstring.h"

namespace zem {

inline constexpr size_t kConfigLineBuffer = 1024;
inline constexpr size_t kLongestConfigLine = kConfigLineBuffer - 1;

// Puts the defaults back and reads the file at `settings->config_path`. A failed load leaves what
// it got so far. Exports the temporary directory.
[[nodiscard]] bool LoadSettings(Settings* settings, OvString* error);

// Rewrites the file with the present values, keeping its other lines. At every instant a whole
// configuration stands at the path: the new one is written beside it (".New") with the mode and
// owner of the old one, which is kept as ".Old". Where the path is a link, all of this happens at
// its end, and the link stays.
[[nodiscard]] bool SaveSettings(const Settings& settings, OvString* error);

// Puts the program's folder in front of each script that is named without one.
void CompleteScriptPaths(Settings* settings);

// One line of the file, as both directions read it.
struct ConfigLine {
  OvString key;         // trimmed, lower case
  size_t value_offset;  // of the first byte after "=" that is neither blank nor tab
  size_t equals;        // offset of the "="
  std::string_view value;
};

// False for a comment and for a line without "=". The line may carry its line end.
[[nodiscard]] bool ParseConfigLine(std::string_view line, ConfigLine* parsed);

// The next line of at most 1,023 bytes, its line end included; false at the end or on an error
// (tell them apart with ferror).
[[nodiscard]] bool ReadConfigLine(FILE* file, OvString* line);

// Opens the file; a folder cannot be opened. On failure the error text names the path.
FILE* OpenConfigFile(const OvString& path, OvString* error);

}  // namespace zem

#endif  // ZEM_CORE_CONFIG_FILE_H_
