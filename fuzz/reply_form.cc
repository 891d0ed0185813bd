// SPDX-License-Identifier: BSD-2-Clause
#include "reply_form.h"

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz.h"

namespace zem {

namespace {

using Lines = std::vector<std::string_view>;

// The lines behind "200", a letter each: i integer, n blank-padded number, f fraction, b flag,
// t time stamp, s any text. "=": key=value lines. "*": entries of a folder.
struct Form {
  std::string_view word;
  std::string_view lines;
};
constexpr Form kForms[] = {
    {"TEST-UNC", "nnni"},
    {"TEST-FolderSize", "n"},
    {"TEST-FileExists", "nttssi"},
    {"TEST-FileCompare", "b"},
    {"TEST-FileHash", "s"},
    {"TEST-CountFiles", "i"},
    {"TEST-Process", "i"},
    {"TEST-CPU", "f"},
    {"TEST-ExternalPrg", "i"},
    {"TEST-TCP", "is"},
    {"TEST-UDP", "is"},
    {"TEST-ShellScript", "ss"},
    {"ACT-ExternalCmd", "i"},
    {"ACT-TCPUDPsend", "s"},
    {"ACT-Syslog", "s"},
    {"GetProcessesList", "s"},
    {"GetFilesList", "*"},
    {"GetInfo", "="},
    {"GetSettings", "="},
    {"ReloadCfg", "s"},
    {"ReloadApp", "s"},
    {"QUIT", "s"},
    {"SetSettings", ""},
    {"UpgradeCode", ""},
};

bool IsDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

bool IsInteger(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  return IsDigits(text);
}

bool IsPadded(std::string_view text) {
  return text.size() >= 6 && text.find_first_not_of(' ') != text.npos &&
         IsInteger(text.substr(text.find_first_not_of(' ')));
}

// Scripts may print "inf" and "nan"; a number too long for its buffer loses its end.
bool IsFraction(std::string_view text) {
  return text.size() >= 6 && text.find_first_not_of(" -.0123456789infa") == text.npos;
}

bool HasForm(std::string_view line, char form) {
  switch (form) {
    case 'i':
      return IsInteger(line);
    case 'n':
      return IsPadded(line);
    case 'f':
      return IsFraction(line);
    case 'b':
      return line == "0" || line == "1";
    case 't':
      return line.size() == 14 && IsDigits(line);
    default:
      return form == 's';
  }
}

void CheckLines(const Lines& lines, size_t from, std::string_view forms) {
  FUZZ_CHECK(lines.size() - from == forms.size());
  for (size_t i = 0; i < forms.size(); ++i) FUZZ_CHECK(HasForm(lines[from + i], forms[i]));
}

void CheckEntries(const Lines& lines) {
  constexpr size_t kHeader = 3;
  FUZZ_CHECK(lines.size() >= kHeader);
  CheckLines({lines.begin(), lines.begin() + kHeader}, 0, "sii");
  FUZZ_CHECK(lines[0].ends_with('/'));
  const size_t entries = std::stoul(std::string(lines[1]));
  const size_t lines_an_entry = std::stoul(std::string(lines[2]));
  FUZZ_CHECK(lines_an_entry >= 2 && lines_an_entry <= 5);
  FUZZ_CHECK(lines.size() == kHeader + entries * lines_an_entry);
  for (size_t i = kHeader; i < lines.size(); i += lines_an_entry) {
    FUZZ_CHECK(!lines[i].empty() && lines[i].find('/') == lines[i].npos);
    FUZZ_CHECK(IsInteger(lines[i + 1]));
  }
}

void CheckDone(std::string_view word, const Lines& lines) {
  const auto* form = std::find_if(std::begin(kForms), std::end(kForms),
                                  [word](const Form& row) { return row.word == word; });
  FUZZ_CHECK(form != std::end(kForms));
  if (form->lines == "*") return CheckEntries(lines);
  if (form->lines != "=") return CheckLines(lines, 0, form->lines);
  for (const std::string_view line : lines) FUZZ_CHECK(line.find('=') != line.npos);
}

bool AnswersWithoutStatus(std::string_view word) {
  return word == "TEST-TCP" || word == "TEST-UDP" || word == "ACT-TCPUDPsend" ||
         word == "ACT-Syslog";
}

}  // namespace

void CheckReplyForm(std::string_view word, std::string_view text) {
  FUZZ_CHECK(text.ends_with("\n\r"));
  text.remove_suffix(1);
  if (text == "Wrong parameter\n") {
    FUZZ_CHECK(AnswersWithoutStatus(word));
    return;
  }
  Lines lines;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  const std::string_view status = lines.front();
  lines.erase(lines.begin());
  if (status == "200") return CheckDone(word, lines);
  // The failed exchanges tell why, then the code; the loader may have several lines to say.
  if (status == "301" && (word == "TEST-TCP" || word == "TEST-UDP")) {
    return CheckLines(lines, 0, "si");
  }
  constexpr std::string_view kRefusals[] = {"300", "301", "302", "500", "501", "502", "600"};
  FUZZ_CHECK(std::find(std::begin(kRefusals), std::end(kRefusals), status) != std::end(kRefusals));
  FUZZ_CHECK(lines.size() <= 1 || word == "ReloadCfg");
}

}  // namespace zem
