// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/upgrade.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "core/environment.h"
#include "core/inherited_state.h"
#include "text/file_info.h"
#include "text/numbers.h"
#include "text/path.h"

namespace zem {

namespace {

constexpr const char* kProgramFileName = "zem__.upd";
constexpr const char* kScriptFileName = "zemupd__.sh";
constexpr size_t kLongestScriptPath = 1023;
constexpr mode_t kPrivateMode = 0600;
constexpr mode_t kExecutableMode = 0775;
// Both bounds are outside: a program has more than 100 bytes and less than 10 MiB.
constexpr int64_t kTooSmall = 100;
constexpr int64_t kTooLarge = 0xA00000;

constexpr const char* kWriteError = "Write error";
constexpr const char* kNoProgramFlag = "Cannot set exec flag new module";
constexpr const char* kNoScript = "Binary code transferred. Cannot create script file";

OvString ProgramFilePath() {
  OvString path = IncludeTrailingPathDelimiter(TempDirectoryFromEnvironment().value_or("."));
  return path.Append(kProgramFileName);
}

OvString ScriptPath() {
  OvString path = OvString::Fixed(kLongestScriptPath);
  if (const std::optional<OvString> directory = TempDirectoryFromEnvironment()) {
    path.Append(*directory).Append('/');
  }
  return path.Append(kScriptFileName);
}

// What every shell takes as it stands. The script has its paths without quotes and removes the
// program before it copies the new one: with a blank in one of them nothing would be left to start.
bool IsPlainPath(std::string_view path) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+,:@%=";
  return !path.empty() && path.front() != '-' && path.find_first_not_of(kPlain) == path.npos;
}

// The script hands on the arguments that the agent was started with, without quotes too: what a
// shell splits, drops or takes for a pattern would start no agent.
bool ArePlainArguments(char* const* argument) {
  for (; argument != nullptr && *argument != nullptr; ++argument) {
    const std::string_view text = *argument;
    if (text.empty() || text.find_first_of(" \t\n*?[\\") != text.npos) return false;
  }
  return true;
}

// Whether the program's folder can take `size` bytes more, beside the program that is there. Some
// file systems count no blocks at all: they tell of no limit.
bool HasRoomBeside(const OvString& program_path, int64_t size) {
  struct statvfs system;
  if (statvfs(ExtractFilePath(program_path).CStr(), &system) != 0) return false;
  if (system.f_blocks == 0) return true;
  const auto wanted = static_cast<uint64_t>(size) / std::max<uint64_t>(system.f_frsize, 1) + 1;
  // Where the superuser's reserve is in use the count lies below zero, which reads as very large.
  return system.f_bavail >= wanted && system.f_bavail <= system.f_blocks;
}

// It waits for the running program's file to be gone, puts the new one in its place, starts it
// with the arguments that the agent itself was started with, and removes what it used.
OvString ScriptText(const OvString& program_path, const OvString& new_program_path,
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

}  // namespace

// A connection that ends in the middle of a transfer must not block upgrades until a restart.
// Deliberate: a slot whose size was refused stays taken instead.
UpgradeContext::~UpgradeContext() {
  if (active_ && size_known_) ReleaseUpgrade();
}

bool UpgradeContext::ClaimUpgrade(SessionKeyPtr session_key) {
  if (!control_->ClaimUpgradeSlot()) return false;
  active_ = true;
  session_key_ = std::move(session_key);
  return true;
}

void UpgradeContext::ReleaseUpgrade() {
  control_->ReleaseUpgradeSlot();
  active_ = false;
}

void UpgradeContext::ExpectProgram(int64_t size, const OvString& program_path) {
  expected_size_ = size;
  program_path_ = program_path;
  size_known_ = true;
}

// The files made so far go with the slot.
bool UpgradeContext::Fail(const char* text, OvString* error) {
  *error = text;
  file_.Reset();
  ReleaseUpgrade();
  return false;
}

bool UpgradeContext::ReceiveUpgrade(std::string_view data, OvString* error) {
  error->Clear();
  if (!size_known_) return Fail("Wrong CRC", error);
  if (temp_path_.IsEmpty() && !CreateFile(error)) return false;
  if (data.empty()) return true;
  const auto program_bytes =
      static_cast<size_t>(std::min(static_cast<int64_t>(data.size()), expected_size_ - received_));
  if (program_bytes > 0 && !StoreProgram(data.substr(0, program_bytes), error)) return false;
  const std::string_view trailer = data.substr(program_bytes);
  return trailer.empty() || Finish(trailer, error);
}

bool UpgradeContext::CreateFile(OvString* error) {
  if (!HasRoomBeside(program_path_, expected_size_)) return Fail(kWriteError, error);
  temp_path_ = ProgramFilePath();
  file_ = MakeFile(temp_path_);
  return file_.IsOpen() || Fail("Cannot create temp file", error);
}

// In place of one that an interrupted upgrade left behind.
UniqueFd UpgradeContext::MakeFile(const OvString& path) {
  RemoveFile(path);
  UniqueFd file = CreateExclusively(path, kPrivateMode);
  if (file.IsOpen()) control_->AddUpgradeFile(MadeFile(path, file.Get()));
  return file;
}

bool UpgradeContext::StoreProgram(std::string_view data, OvString* error) {
  if (!WriteAll(file_.Get(), data)) return Fail(kWriteError, error);
  digest_.Update(data);
  received_ += static_cast<int64_t>(data.size());
  return true;
}

// What the script will install is what stands at the path, not what was written to a descriptor.
bool UpgradeContext::IsWholeAtItsPath() const {
  struct stat found;
  return MadeFile(temp_path_, file_.Get()).IsThere(&found) && found.st_size == expected_size_;
}

// The trailer has to arrive in one piece: what comes first behind the program is the whole digest.
bool UpgradeContext::Finish(std::string_view trailer, OvString* error) {
  if (fchmod(file_.Get(), kExecutableMode) != 0 || !IsWholeAtItsPath()) {
    return Fail(kNoProgramFlag, error);
  }
  // Some disks tell that they are full only here. The program's own may have filled up meanwhile.
  const bool synced = SyncToDisk(file_.Get());
  const bool closed = close(file_.Release()) == 0;
  if (!synced || !closed || !HasRoomBeside(program_path_, expected_size_)) {
    return Fail(kWriteError, error);
  }
  OvString digest;
  session_key_->Schedule().Decipher(trailer, digest.Resize(trailer.size()));
  if (!EqualSecrets(digest, digest_.Finish())) return Fail("Wrong CRC", error);
  if (!WriteScript(error)) return false;
  // The slot stays taken until the main thread has executed the script.
  active_ = false;
  return true;
}

bool UpgradeContext::WriteScript(OvString* error) {
  const OvString path = ScriptPath();
  if (!IsPlainPath(program_path_) || !IsPlainPath(temp_path_) || !IsPlainPath(path) ||
      !ArePlainArguments(InheritedState::Get().Arguments())) {
    return Fail(kNoScript, error);
  }
  const UniqueFd file = MakeFile(path);
  if (!file.IsOpen() || !WriteAll(file.Get(), ScriptText(program_path_, temp_path_, path))) {
    return Fail(kNoScript, error);
  }
  // The flag alone does not do where the folder's file system executes nothing.
  if (fchmod(file.Get(), kExecutableMode) != 0 || access(path.CStr(), X_OK) != 0) {
    return Fail("Cannot set exec flag for script", error);
  }
  script_path_ = path;
  return true;
}

void UpgradeContext::HandOver() {
  if (!script_path_.IsEmpty()) control_->SetUpgradePath(script_path_);
}

void StartUpgrade(const AgentRequest& request, const RequestContext& context, AgentReply* reply) {
  if (!context.upgrade->ClaimUpgrade(context.session_key)) {
    reply->SetStatus(status::kUpgradeBusy);
    return;
  }
  const int64_t size = ParseInt64(request.GetLine(1));
  if (size <= kTooSmall || size >= kTooLarge) {
    // Deliberate: the slot stays claimed on this road.
    reply->SetStatus(status::kWrongParameters).Append("Wrong file parameter(s)");
    return;
  }
  context.upgrade->ExpectProgram(size, context.settings.zempath);
  OvString error;
  if (context.upgrade->ReceiveUpgrade({}, &error)) {
    reply->SetStatus(status::kDone);
  } else {
    reply->SetStatus(status::kFailed).Append(error);
  }
}

}  // namespace zem
