// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/process_check.h"

#include <cinttypes>
#include <cstring>
#include <limits>

#include "checks/system/created_file.h"
#include "checks/system/pause.h"
#include "checks/system/process_runner.h"
#include "checks/system/shell_command.h"
#include "checks/system/temp_names.h"
#include "text/file_info.h"

namespace zem {

namespace {

// "speified" is what servers have matched for years.
constexpr const char* kCountScriptNotSpecified = "ProcCnt script is not speified";
constexpr const char* kCountScriptMissing = "ProcCnt script doesn't exist";
constexpr const char* kCpuScriptNotSpecified = "CPUUsage script is not speified";
constexpr const char* kCpuScriptMissing = "CPUUsage script doesn't exist";
constexpr const char* kListScriptNotSpecified = "ProcList script is not speified";
constexpr const char* kListScriptMissing = "ProcList script doesn't exist";
constexpr const char* kNameNotSpecified = "Name of the process is not specified";
constexpr const char* kNoTempFile = "cannot get temp file";
constexpr const char* kCannotExecute = "Cannot execute script";
constexpr const char* kNoResults = "Cannot get script results";
constexpr const char* kScriptError = "Script error";

constexpr const char* kProcessFile = "tmpPzem-";
constexpr const char* kCpuFile = "tmpCzem-";
constexpr int32_t kCpuTimeoutMs = 8000;

// False with the refusal written when the configuration names no usable script.
bool HaveScript(const OvString& script, const char* not_specified, const char* missing,
                AgentReply* reply) {
  if (!script.IsEmpty() && IsRegularFile(script)) return true;
  reply->Refuse(status::kUnavailable, script.IsEmpty() ? not_specified : missing);
  return false;
}

// The path of this request's own result file; empty when there is none to be had.
struct ResultPath {
  explicit ResultPath(const char* prefix) {
    char name[36];
    snprintf(name, sizeof(name), "%s%" PRId64 ".txt", prefix, NextTempId());
    (void)MakeTempName(path, sizeof(path), name);  // empty is an answer too
  }
  char path[512];
};

// Runs the command line with all its output on a new file and opens that; null with the refusal
// written when anything is in the way. Deliberate: the shell reads the arguments, so a process
// name with a blank reaches the script as two.
FilePtr ShellOutput(const OvString& script, const OvString& argument, CreatedFile* file,
                    AgentReply* reply) {
  const ResultPath result(kProcessFile);
  if (result.path[0] == '\0') {
    reply->Refuse(status::kUnavailable, kNoTempFile);
    return nullptr;
  }
  OvString command = script;
  if (!argument.IsEmpty()) command.Append(' ').Append(argument);
  for (const char* redirection : {" 1>", " 2>", " 3>"}) {
    command.Append(redirection).Append(result.path);
  }
  command.Trim();
  if (!file->CreateForShell(result.path)) {
    reply->Refuse(status::kUnavailable, kNoResults);
    return nullptr;
  }
  if (RunShellCommand(command.CStr()) == -1) {
    reply->Refuse(status::kUnavailable, kCannotExecute);
    return nullptr;
  }
  FilePtr output = file->IsUntouched() ? nullptr : OpenForReading(file->Path());
  if (output == nullptr) reply->Refuse(status::kUnavailable, kNoResults);
  return output;
}

bool IsSpace(int byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

bool IsDigit(int byte) {
  return byte >= '0' && byte <= '9';
}

}  // namespace

void CheckProcess(const AgentRequest& request, const RequestContext& context, AgentReply* reply) {
  const OvString& script = context.settings.proc_cnt_script;
  if (!HaveScript(script, kCountScriptNotSpecified, kCountScriptMissing, reply)) return;
  const OvString name = request.GetLine(2);
  if (name.IsEmpty()) return reply->Refuse(status::kWrongParameters, kNameNotSpecified);
  CreatedFile file;
  const FilePtr output = ShellOutput(script, name, &file, reply);
  if (output == nullptr) return;
  const std::optional<int32_t> count = ReadInteger(output.get());
  if (!count) return reply->Refuse(status::kUnavailable, kScriptError);
  reply->SetStatus(status::kDone).AddInt(*count);
}

void CheckCpu(const AgentRequest&, const RequestContext& context, AgentReply* reply) {
  const OvString& script = context.settings.cpu_usage_script;
  if (!HaveScript(script, kCpuScriptNotSpecified, kCpuScriptMissing, reply)) return;
  const ResultPath result(kCpuFile);
  if (result.path[0] == '\0') return reply->Refuse(status::kUnavailable, kNoTempFile);
  PauseMicroseconds(context.settings.delay_for_scripts);
  CreatedFile file;
  if (!file.CreateForOutput(result.path)) return reply->Refuse(status::kUnavailable, kNoResults);
  OvString command = script;
  int32_t exit_code = 0;
  OvString error;
  if (!RunProcess({.command_line = command.Trim().CStr(),
                   .input_file = result.path,
                   .output_file = result.path,
                   .error_file = result.path,
                   .timeout_ms = kCpuTimeoutMs},
                  &exit_code, &error)) {
    return reply->Refuse(status::kUnavailable, kCannotExecute);
  }
  const FilePtr output = OpenForReading(file.Path());
  if (output == nullptr) return reply->Refuse(status::kUnavailable, kNoResults);
  float usage = 0;
  if (fscanf(output.get(), "%f", &usage) != 1)
    return reply->Refuse(status::kUnavailable, kScriptError);
  reply->SetStatus(status::kDone).AddFraction(usage);
}

void ListProcesses(const AgentRequest&, const RequestContext& context, AgentReply* reply) {
  const OvString& script = context.settings.proc_list_script;
  if (!HaveScript(script, kListScriptNotSpecified, kListScriptMissing, reply)) return;
  CreatedFile file;
  const FilePtr output = ShellOutput(script, {}, &file, reply);
  if (output == nullptr) return;
  reply->SetStatus(status::kDone).AddLine(ReadProcessList(output.get()), Escape::kYes);
}

std::optional<int32_t> ReadInteger(FILE* file) {
  int byte = getc(file);
  while (IsSpace(byte)) byte = getc(file);
  const bool negative = byte == '-';
  if (byte == '-' || byte == '+') byte = getc(file);
  if (!IsDigit(byte)) return std::nullopt;
  // Gathered below zero, where the range is one larger.
  constexpr int64_t kLow = std::numeric_limits<int64_t>::min();
  constexpr int64_t kHigh = std::numeric_limits<int64_t>::max();
  int64_t value = 0;
  for (; IsDigit(byte); byte = getc(file)) {
    if (__builtin_mul_overflow(value, 10, &value) ||
        __builtin_sub_overflow(value, byte - '0', &value)) {
      return static_cast<int32_t>(negative ? kLow : kHigh);
    }
  }
  if (negative) return static_cast<int32_t>(value);
  return static_cast<int32_t>(value == kLow ? kHigh : -value);
}

// Deliberate, all of it: the read is not tested and the buffer is not emptied between reads, so the
// read that only meets the end of the file finds the previous line still there. A script whose
// output ends in a line feed has its last line listed twice; scripts are written with that in mind.
OvString ReadProcessList(FILE* file) {
  OvString list;
  char line[512] = "";
  while (feof(file) == 0) {
    const bool read = fgets(line, sizeof(line), file) != nullptr;
    if (!read && ferror(file) != 0) break;
    size_t length = strlen(line);
    if (length > 0 && line[length - 1] == '\n') line[--length] = '\0';
    if (length > 0) list.Append(std::string_view(line, length)).Append("\r\n");
  }
  return list;
}

}  // namespace zem
