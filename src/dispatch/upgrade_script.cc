// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/upgrade_script.h"

#include <sys/stat.h>

#include <optional>

#include "core/environment.h"
#include "core/unique_fd.h"
#include "text/file_info.h"

namespace zem {

namespace {

constexpr const char* kScriptFileName = "zemupd__.sh";
constexpr size_t kLongestScriptPath = 1023;
constexpr mode_t kPrivateMode = 0600;
constexpr mode_t kExecutableMode = 0775;

OvString ScriptPath() {
  OvString path = OvString::Fixed(kLongestScriptPath);
  if (const std::optional<OvString> directory = TempDirectoryFromEnvironment()) {
    path.Append(*directory).Append('/');
  }
  return path.Append(kScriptFileName);
}

}  // namespace

// It waits for the running program's file to be gone, puts the new one in its place, starts it
// with the arguments that the agent itself was started with, and removes what it used.
OvString UpgradeScriptText(const OvString& program_path, const OvString& new_program_path,
                           const OvString& script_path) {
  OvString text("#! /bin/sh\noldZEM='");
  text.Append(program_path).Append("'\nnewZEM='").Append(new_program_path);
  text.Append(
      "'\n"
      "retries=10\n"
      "rm $oldZEM\n"
      "while [ -f $oldZEM ] &&  [ $retries -gt 0 ]\n"
      "do\n"
      "  retries=`expr $retries - 1`\n"
      "  echo $retries\n"
      "  sleep 1\n"
      "done\n"
      "cp -f $newZEM $oldZEM\n"
      "rm -f $newZEM\n"
      "$oldZEM $1 $2 $3 $4 $5 $6\n"
      "rm ");
  return text.Append(script_path).Append('\n');
}

bool WriteUpgradeScript(const OvString& program_path, const OvString& new_program_path,
                        OvString* script_path, OvString* error) {
  *script_path = ScriptPath();
  RemoveFile(*script_path);  // one that an interrupted upgrade left behind
  const UniqueFd file = CreateExclusively(*script_path, kPrivateMode);
  const OvString text = UpgradeScriptText(program_path, new_program_path, *script_path);
  if (!file.IsOpen() || !WriteAll(file.Get(), text)) {
    if (file.IsOpen()) RemoveFile(*script_path);
    *error = "Binary code transferred. Cannot create script file";
    return false;
  }
  if (fchmod(file.Get(), kExecutableMode) != 0) {
    RemoveFile(*script_path);
    *error = "Cannot set exec flag for script";
    return false;
  }
  return true;
}

}  // namespace zem
