// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <map>
#include <utility>
#include <variant>

#include <fmt/format.h>

#include "core/config_file.h"
#include "local/findings.h"
#include "model/local_file.h"
#include "model/printable.h"
#include "model/words.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

std::string Suggestion(std::string_view key) {
  std::vector<std::string> keys;
  for (const SettingRow& row : SettingsTable()) keys.emplace_back(row.key);
  return DidYouMean(key, keys);
}

bool IsDecimal(std::string_view value) {
  if (!value.empty() && value.front() == '-') value.remove_prefix(1);
  return !value.empty() && value.find_first_not_of("0123456789") == std::string_view::npos;
}

class LineInspector {
 public:
  explicit LineInspector(Findings* findings) : findings_(findings) {}

  void Inspect(std::string_view line, int number) {
    number_ = number;
    ConfigLine parsed;
    if (!ParseConfigLine(line, &parsed)) {
      const std::string_view text = Trimmed(line);
      if (!text.empty() && text.front() != '#' && text.front() != ';') {
        Add(Severity::kWarning, "", "no \"=\": the line is ignored");
      }
      return;
    }
    const std::string key(parsed.key.View());
    if (key.starts_with('#') || key.starts_with(';')) {
      Add(Severity::kNote, key,
          "a comment has to begin in the first column; read as an unknown key");
      return;
    }
    const SettingRow* row = FindSettingByKey(key);
    if (row == nullptr) {
      Add(Severity::kWarning, key, "unknown key: the line is ignored" + Suggestion(key));
      return;
    }
    InspectTwice(*row, key);
    InspectValue(*row, key, parsed.value);
  }

 private:
  void Add(Severity severity, const std::string& key, std::string text) {
    findings_->push_back({severity, number_, Printable(key), std::move(text)});
  }

  void InspectTwice(const SettingRow& row, const std::string& key) {
    const auto [first, inserted] = seen_.emplace(key, number_);
    if (inserted) return;
    const char* which = IsPort(row) ? "the first one stays" : "this one wins";
    Add(Severity::kWarning, key, fmt::format("given in line {} already; {}", first->second, which));
  }

  void InspectValue(const SettingRow& row, const std::string& key, std::string_view value) {
    if (std::holds_alternative<bool Settings::*>(row.member)) {
      InspectFlag(key, value);
    } else if (std::holds_alternative<int Settings::*>(row.member)) {
      if (!IsDecimal(value)) {
        Add(Severity::kWarning, key, "not a decimal number: read up to the first other character");
      }
    } else if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
               value.back() == value.front()) {
      Add(Severity::kWarning, key, "the quotes are part of the value");
    } else if (value.find(" #") != std::string_view::npos) {
      Add(Severity::kWarning, key, "a comment behind a value is part of the value");
    }
  }

  void InspectFlag(const std::string& key, std::string_view value) {
    static constexpr const char* kMeantOn[] = {"yes", "true", "on", "y", "t", "enable", "enabled"};
    const bool meant_on =
        std::any_of(std::begin(kMeantOn), std::end(kMeantOn),
                    [&](const char* on) { return EqualsIgnoringCase(value, on); });
    if (meant_on) {
      Add(Severity::kWarning, key,
          fmt::format("\"{}\" is off: a switch is on only when its value begins with 1", value));
    } else if (value.empty()) {
      Add(Severity::kWarning, key, "no value: the switch is off");
    } else if (value.starts_with('1') && value.size() > 1) {
      Add(Severity::kNote, key, "on: only the first character of the value counts");
    }
  }

  Findings* const findings_;
  int number_ = 0;
  std::map<std::string, int> seen_;
};

}  // namespace

const char* SeverityName(Severity severity) {
  switch (severity) {
    case Severity::kNote:
      return "note";
    case Severity::kWarning:
      return "warning";
    case Severity::kError:
      return "error";
  }
  return "error";
}

void InspectLines(std::string_view text, Findings* findings) {
  LineInspector inspector(findings);
  const FilePtr file(OpenText(text));
  bool begins = true;  // else the piece belongs to a line that is too long
  int number = 0;
  for (OvString piece; file && ReadConfigLine(file.get(), &piece);) {
    const std::string_view line = piece.View();
    const bool ends = line.back() == '\n';
    if (std::exchange(begins, ends)) {
      ++number;
      if (!ends && ungetc(getc(file.get()), file.get()) != EOF) {
        findings->push_back(
            {Severity::kWarning, number, "",
             fmt::format("longer than {} bytes: read in pieces, each a line of its own",
                         kLongestConfigLine)});
      }
      if (line.find('\0') != std::string_view::npos) {
        findings->push_back({Severity::kWarning, number, "", "the line holds a zero byte"});
      }
      inspector.Inspect(line, number);
    }
  }
}

void InspectMissing(std::string_view text, Findings* findings) {
  static constexpr std::pair<std::string_view, const char*> kKeys[] = {
      {"filteractive", "0"}, {"allowupdates", "1"}, {"external", "1"}, {"shellscript", "1"}};
  const FilePtr file(OpenText(text));
  std::vector<std::string> found;
  ConfigLine parsed;
  for (OvString line; file && ReadConfigLine(file.get(), &line); line.Wipe()) {
    if (ParseConfigLine(line, &parsed)) found.emplace_back(parsed.key.View());
  }
  for (const auto& [key, value] : kKeys) {
    if (std::find(found.begin(), found.end(), key) != found.end()) continue;
    Note(findings, std::string(key), "not in the file, so it is {}; the sample has {}={}", value,
         key, *value == '1' ? 0 : 1);
  }
}

}  // namespace zem::client
