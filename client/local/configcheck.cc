// SPDX-License-Identifier: BSD-2-Clause
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "core/config_file.h"
#include "local/findings.h"
#include "local/local_command.h"
#include "model/printable.h"
#include "model/secret.h"
#include "model/words.h"
#include "output/terminal.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr Argument kArguments[] = {
    {"file", "file,--file", kOptional, "FILE",
     "the agent's configuration, if not in --agent-config", kLocalFile},
    {"strict", "--strict", kFlag, "", "exit with 1 at warnings too"},
};

constexpr int kExitLoads = 0;
constexpr int kExitWarnings = 1;
constexpr int kExitFails = 2;

// Puts the temporary directory back that the agent's loader exports.
class KeptTempDir {
 public:
  KeptTempDir() {
    if (const char* present = getenv("TMPDIR")) before_ = present;
  }
  ~KeptTempDir() {
    if (before_) {
      setenv("TMPDIR", before_->c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }
  KeptTempDir(const KeptTempDir&) = delete;
  KeptTempDir& operator=(const KeptTempDir&) = delete;

 private:
  std::optional<std::string> before_;
};

// The loader's texts: errors end its load, a lone warning does not.
void AddLoaderTexts(std::string_view text, bool loaded, Findings* findings) {
  constexpr std::string_view kCrossed = "FilterMarks has less items than FilterList";
  if (text.starts_with(kCrossed)) {
    Warn(findings, "filtermarks",
         "{} (a file without both keys gets this: their defaults are crossed)", kCrossed);
    text.remove_prefix(kCrossed.size());
  }
  for (std::string_view whole; TakePiece(&text, "\n", &whole);) {
    const std::string_view line = Trimmed(whole);
    if (line.empty()) continue;
    Add(findings, loaded ? Severity::kWarning : Severity::kError, "", "{}", line);
  }
}

bool Load(const std::string& path, Settings* settings, Findings* findings) {
  const KeptTempDir kept;
  settings->config_path = path;
  OvString error;
  const bool loaded = LoadSettings(settings, &error);
  AddLoaderTexts(error, loaded, findings);
  if (loaded && (settings->port < 1 || settings->port > 65535)) {
    Add(findings, Severity::kError, "port", "{} is no port: the agent cannot listen",
        settings->port);
    return false;
  }
  return loaded && InspectListener(*settings, findings);
}

std::string FindingsText(const Findings& findings, const std::string& path, const Style& style) {
  std::string text;
  for (const Finding& finding : findings) {
    const Tone tone = finding.severity == Severity::kError     ? Tone::kBad
                      : finding.severity == Severity::kWarning ? Tone::kWarning
                                                               : Tone::kFaint;
    text += Printable(path);
    if (finding.line > 0) text += fmt::format(":{}", finding.line);
    text += ": " + style(tone, SeverityName(finding.severity)) + ": ";
    if (!finding.key.empty()) text += finding.key + ": ";
    text += Printable(finding.text) + '\n';
  }
  return text;
}

Value FindingsValue(const Findings& findings) {
  List list;
  for (const Finding& finding : findings) {
    list.push_back(Record{
        {"severity", SeverityName(finding.severity)},
        {"line", finding.line > 0 ? std::optional(finding.line) : std::nullopt},
        {"key", Value::TextIfAny(finding.key)},
        {"text", finding.text},
    });
  }
  return list;
}

LocalResult Configcheck(const Arguments& arguments) {
  const std::string path = ConfigPath(arguments);
  Findings findings;
  Settings settings;
  const bool loads = Load(path, &settings, &findings);
  const auto count = [&findings](Severity severity) {
    return std::count_if(findings.begin(), findings.end(),
                         [severity](const Finding& f) { return f.severity == severity; });
  };
  // A file that cannot be opened has no lines to look at.
  if (access(path.c_str(), R_OK) == 0) {
    const Secret text = ReadSecretFile(path, Privacy::kAnyMode);
    InspectLines(text.View(), &findings);
    InspectMissing(text.View(), &findings);
    InspectSettings(settings, &findings);
    InspectFiles(settings, &findings);
  }
  LocalResult result;
  const auto errors = count(Severity::kError);
  const auto warnings = count(Severity::kWarning);
  result.exit_code = !loads                                    ? kExitFails
                     : arguments.Has("strict") && warnings > 0 ? kExitWarnings
                                                               : kExitLoads;
  result.text = FindingsText(findings, path, Style::For(STDOUT_FILENO)) +
                fmt::format("{}: {}; {} error{}, {} warning{}\n", Printable(path),
                            loads ? "the agent loads it" : "the agent does not load it", errors,
                            errors == 1 ? "" : "s", warnings, warnings == 1 ? "" : "s");
  result.result = Record{{"file", path},
                         {"loads", loads},
                         {"errors", errors},
                         {"warnings", warnings},
                         {"findings", FindingsValue(findings)}};
  return result;
}

}  // namespace

const Command kConfigcheckCommand = {
    .name = "configcheck",
    .summary = "what is wrong or risky about an agent's configuration",
    .arguments = kArguments,
    .run = Configcheck,
    .notes = "Exits with 0 when the agent would load the file and could listen, 2 when not.",
};

}  // namespace zem::client
