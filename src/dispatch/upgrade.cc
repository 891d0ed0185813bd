// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/upgrade.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "core/environment.h"
#include "dispatch/upgrade_script.h"
#include "text/file_info.h"
#include "text/numbers.h"
#include "text/path.h"

namespace zem {

namespace {

constexpr const char* kProgramFileName = "zem__.upd";
constexpr mode_t kPrivateMode = 0600;
constexpr mode_t kExecutableMode = 0775;
// Both bounds are outside: a program has more than 100 bytes and less than 10 MiB.
constexpr int64_t kTooSmall = 100;
constexpr int64_t kTooLarge = 0xA00000;

OvString ProgramFilePath() {
  OvString path = IncludeTrailingPathDelimiter(TempDirectoryFromEnvironment().value_or("."));
  return path.Append(kProgramFileName);
}

}  // namespace

// A connection that ends in the middle of a transfer must not block upgrades until a restart.
// Deliberate: a slot whose size was refused stays taken instead.
UpgradeContext::~UpgradeContext() {
  if (!active_ || !size_known_) return;
  RemoveFile(temp_path_);
  ReleaseUpgrade();
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

bool UpgradeContext::Fail(const char* text, OvString* error) {
  *error = text;
  file_.Reset();
  ReleaseUpgrade();
  return false;
}

bool UpgradeContext::FailAndRemove(const char* text, OvString* error) {
  RemoveFile(temp_path_);
  return Fail(text, error);
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
  temp_path_ = ProgramFilePath();
  RemoveFile(temp_path_);  // one that an earlier upgrade left behind
  file_ = CreateExclusively(temp_path_, kPrivateMode);
  return file_.IsOpen() || Fail("Cannot create temp file", error);
}

bool UpgradeContext::StoreProgram(std::string_view data, OvString* error) {
  if (!WriteAll(file_.Get(), data)) return Fail("Write error", error);
  digest_.Update(data);
  received_ += static_cast<int64_t>(data.size());
  return true;
}

// The trailer has to arrive in one piece: what comes first behind the program is the whole digest.
bool UpgradeContext::Finish(std::string_view trailer, OvString* error) {
  if (fchmod(file_.Get(), kExecutableMode) != 0) {
    return FailAndRemove("Cannot set exec flag new module", error);
  }
  file_.Reset();
  OvString digest;
  session_key_->Schedule().Decipher(trailer, digest.Resize(trailer.size()));
  if (!EqualSecrets(digest, digest_.Finish())) return FailAndRemove("Wrong CRC", error);
  if (!WriteUpgradeScript(program_path_, temp_path_, &script_path_, error)) {
    script_path_.Clear();
    RemoveFile(temp_path_);
    ReleaseUpgrade();
    return false;
  }
  // The slot stays taken until the main thread has executed the script.
  active_ = false;
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
