// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/shell_script.h"

#include <sys/stat.h>

#include <algorithm>
#include <limits>

#include "checks/system/created_file.h"
#include "checks/system/pause.h"
#include "checks/system/process_runner.h"
#include "checks/system/temp_names.h"
#include "protocol/escape.h"
#include "text/numbers.h"

namespace zem {

namespace {

constexpr const char* kNoTempFile = "Cannot get temp file";
// Two messages for two failures, told apart by the first letter alone.
constexpr const char* kCannotCreate = "Cannot create temp file";
constexpr const char* kCannotWrite = "cannot create temp file";
constexpr const char* kCannotSetMode = "Cannot set exec flag for script";
constexpr const char* kExecutionError = "Script execution error: ";
constexpr const char* kNoResults = "Cannot get script results";

constexpr std::string_view kScriptPlaceholder = "%script%";
constexpr std::string_view kParametersPlaceholder = "%params%";
constexpr std::string_view kResultMark = "scriptres:";
constexpr mode_t kScriptMode = 0775;

struct ScriptRequest {
  explicit ScriptRequest(const AgentRequest& request)
      : command_template(request.GetLine(1)),
        script(UnescapeLineBreaks(request.GetLine(2, Trim::kNo))),
        parameters(UnescapeLineBreaks(request.GetLine(3, Trim::kNo))),
        timeout_seconds(ParseInt(request.GetLine(4))),
        wanted_lines(ParseInt(request.GetLine(5))) {
    script.ReplaceAll("\r\n", "\n");
    parameters.ReplaceAll("\r\n", "\n");
    parameters.Trim();
  }

  // Never the "do not wait" of the runner: a time-out of -1 second is one that has passed.
  int32_t TimeoutMs() const {
    constexpr int64_t kLow = std::numeric_limits<int32_t>::min();
    constexpr int64_t kHigh = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(int64_t{timeout_seconds} * 1000, kLow, kHigh));
  }

  OvString command_template;
  OvString script;
  OvString parameters;
  int32_t timeout_seconds;
  int32_t wanted_lines;
};

// Null when the executable script stands in `*file`, else the message.
const char* WriteScript(const OvString& script, CreatedFile* file) {
  char path[512];
  if (!MakeTempName(path, sizeof(path), nullptr)) return kNoTempFile;
  const UniqueFd fd = file->Create(path, 0600);
  if (!fd.IsOpen()) return kCannotCreate;
  if (!WriteAll(fd.Get(), script)) return kCannotWrite;
  if (fchmod(fd.Get(), kScriptMode) != 0) return kCannotSetMode;
  return nullptr;
}

bool BeginsWithMark(const OvString& line) {
  return EqualsIgnoringCase(line.View().substr(0, kResultMark.size()), kResultMark);
}

}  // namespace

void CheckShellScript(const AgentRequest& request, const RequestContext& context,
                      AgentReply* reply) {
  const ScriptRequest wanted(request);
  CreatedFile script;
  const char* failure = WriteScript(wanted.script, &script);
  if (failure != nullptr) return reply->Refuse(status::kUnavailable, failure);
  char output_path[512];
  CreatedFile output;
  if (!MakeTempName(output_path, sizeof(output_path), nullptr) ||
      !output.Create(output_path, 0600).IsOpen()) {
    return reply->Refuse(status::kUnavailable, kNoResults);
  }
  OvString command = FillPlaceholder(wanted.command_template, kScriptPlaceholder, script.Path());
  command = FillPlaceholder(command, kParametersPlaceholder, wanted.parameters);
  PauseMicroseconds(context.settings.delay_for_scripts);
  int32_t exit_code = 0;
  OvString error;
  if (!RunProcess({.command_line = command.Trim().CStr(),
                   .input_file = output_path,
                   .output_file = output_path,
                   .error_file = output_path,
                   .timeout_ms = wanted.TimeoutMs()},
                  &exit_code, &error)) {
    reply->SetStatus(status::kUnavailable).Append(kExecutionError).Append(error);
    return;
  }
  const FilePtr file = OpenForReading(output.Path());
  if (file == nullptr) return reply->Refuse(status::kUnavailable, kNoResults);
  const ScriptOutput found = ScanScriptOutput(file.get(), wanted.wanted_lines);
  reply->SetStatus(status::kDone);
  reply->AddLine(found.result, Escape::kYes);
  reply->AddLine(found.lines, Escape::kYes);
}

OvString FillPlaceholder(std::string_view text, std::string_view placeholder,
                         std::string_view value) {
  OvString filled;
  while (text.size() > placeholder.size()) {
    const auto found = std::search(text.begin(), text.end(), placeholder.begin(), placeholder.end(),
                                   [](char a, char b) { return LowerAscii(a) == LowerAscii(b); });
    if (found == text.end()) break;
    const auto before = static_cast<size_t>(found - text.begin());
    filled.Append(text.substr(0, before)).Append(value);
    text.remove_prefix(before + placeholder.size());
  }
  return filled.Append(text);
}

ScriptOutput ScanScriptOutput(FILE* file, int32_t wanted_lines) {
  ScriptOutput output;
  char piece[512];
  while (feof(file) == 0) {
    // The read that meets the end yields no line; a read error ends the scan.
    if (fgets(piece, sizeof(piece), file) == nullptr) break;
    const OvString line = Trimmed(piece);
    if (line.IsEmpty()) continue;
    if (wanted_lines > 0) {
      output.lines.Append(line).Append("\r\n");
      --wanted_lines;
    }
    if (!BeginsWithMark(output.result)) output.result = line;
    if (BeginsWithMark(output.result) && wanted_lines == 0) break;
  }
  return output;
}

}  // namespace zem
