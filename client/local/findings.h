// SPDX-License-Identifier: BSD-2-Clause
// What is wrong, risky or worth knowing about an agent's configuration.

#ifndef ZEM_CLIENT_LOCAL_FINDINGS_H_
#define ZEM_CLIENT_LOCAL_FINDINGS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "core/settings.h"

namespace zem::client {

enum class Severity : uint8_t { kNote, kWarning, kError };

const char* SeverityName(Severity severity);

struct Finding {
  Severity severity;
  int line;  // in the file; 0 = the file as a whole
  std::string key;
  std::string text;
};

using Findings = std::vector<Finding>;

// Of the file as a whole.
template <typename... Words>
void Add(Findings* findings, Severity severity, std::string key, fmt::format_string<Words...> form,
         Words&&... words) {
  findings->push_back(
      {severity, 0, std::move(key), fmt::format(form, std::forward<Words>(words)...)});
}
template <typename... Words>
void Warn(Findings* findings, std::string key, fmt::format_string<Words...> form,
          Words&&... words) {
  Add(findings, Severity::kWarning, std::move(key), form, std::forward<Words>(words)...);
}
template <typename... Words>
void Note(Findings* findings, std::string key, fmt::format_string<Words...> form,
          Words&&... words) {
  Add(findings, Severity::kNote, std::move(key), form, std::forward<Words>(words)...);
}

// The lines by themselves: unknown keys, switches that are silently off, odd numbers, double keys.
void InspectLines(std::string_view text, Findings* findings);

// Keys that the file lacks, where the program's default allows more than the sample does.
void InspectMissing(std::string_view text, Findings* findings);

// Whether the agent could listen where the settings say, on this machine.
[[nodiscard]] bool InspectListener(const Settings& settings, Findings* findings);

// The settings together, as they are after a load: filter, lists, password, risky switches.
void InspectSettings(const Settings& settings, Findings* findings);

// The files that the settings name: modes, owners, presence.
void InspectFiles(const Settings& settings, Findings* findings);

// Addresses that an item admits beside itself, since the filter looks for the peer's address
// anywhere in the list.
std::vector<std::string> AlsoAdmitted(std::string_view item);

}  // namespace zem::client

#endif  // ZEM_CLIENT_LOCAL_FINDINGS_H_
