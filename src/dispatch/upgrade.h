// SPDX-License-Identifier: BSD-2-Clause
// Receives a new program for the agent and prepares its installation.
//
// After an accepted request the same connection carries the program's bytes in the clear, then,
// within one receive, their MD5 digest enciphered under the request's session key. What arrived is
// checked and a script that swaps the files is written. The session hands its path over to the main
// thread when it closes.
// Only one upgrade runs in the agent at a time: it holds the slot of ProcessControl, and the files
// it makes go with the slot.
// The script removes the agent's program before it copies the new one, so everything that could
// keep it from copying is looked for first: a working program is never given up for none.
// Threads: a context belongs to its session's thread.

#ifndef ZEM_DISPATCH_UPGRADE_H_
#define ZEM_DISPATCH_UPGRADE_H_

#include <cstdint>
#include <string_view>

#include "core/process_control.h"
#include "core/request_context.h"
#include "core/unique_fd.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"
#include "protocol/digest.h"
#include "protocol/session_key.h"
#include "text/ovstring.h"

namespace zem {

class UpgradeContext {
 public:
  explicit UpgradeContext(ProcessControl* control) : control_(control) {}
  ~UpgradeContext();
  UpgradeContext(const UpgradeContext&) = delete;
  UpgradeContext& operator=(const UpgradeContext&) = delete;

  // True while the bytes of this session's connection belong to an upgrade.
  bool IsActive() const { return active_; }

  // Takes the agent-wide slot for this session; false when another session holds it.
  [[nodiscard]] bool ClaimUpgrade(SessionKeyPtr session_key);
  // Announces the program's size and where it is to be installed. Without it every byte that
  // arrives fails the transfer.
  void ExpectProgram(int64_t size, const OvString& program_path);

  // Called once without data to make the file, then with every piece received. False when the
  // transfer has failed; `*error` then says why. When it has ended well, IsActive() is false.
  [[nodiscard]] bool ReceiveUpgrade(std::string_view data, OvString* error);

  // Leaves the script of a transfer that ended well to the main thread. The session's last act but
  // one: from here on any session that closes raises the request, so the answer has to be out.
  void HandOver();

 private:
  void ReleaseUpgrade();
  UniqueFd MakeFile(const OvString& path);
  bool CreateFile(OvString* error);
  bool StoreProgram(std::string_view data, OvString* error);
  bool IsWholeAtItsPath() const;
  bool Finish(std::string_view trailer, OvString* error);
  bool WriteScript(OvString* error);
  bool Fail(const char* text, OvString* error);

  ProcessControl* const control_;
  bool active_ = false;
  bool size_known_ = false;
  int64_t expected_size_ = 0;
  int64_t received_ = 0;
  UniqueFd file_;
  OvString temp_path_;
  OvString script_path_;
  RunningMd5 digest_;
  SessionKeyPtr session_key_;
  OvString program_path_;
};

// The handler of UpgradeCode: claims the slot, reads the size from line 1 and makes the file.
void StartUpgrade(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_DISPATCH_UPGRADE_H_
