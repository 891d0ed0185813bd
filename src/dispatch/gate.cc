// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/gate.h"

#include "protocol/address_filter.h"

namespace zem {

namespace {

constexpr const char* kTestNotAllowed = "test is not allowed";
constexpr const char* kOperationNotAllowed = "operation is not allowed";

bool IsAnyFileTestOn(const Settings& settings) {
  return settings.folder_size || settings.count_files || settings.file_exists ||
         settings.file_crc || settings.compare_files || settings.text_log;
}

// A malformed list keeps matching by the items that are well formed; what is wrong with it is not
// the peer's business. A request that somebody had the agent send to itself comes from an address
// that is not the sender's: whatever the list holds, it is not in it.
bool IsPeerListed(const RequestContext& context, const OvString& list) {
  OvString ignored;
  return !context.relayed && MatchAddress(context.peer, list, &ignored);
}

}  // namespace

bool Gate::IsOpen(const RequestContext& context) const {
  const Settings& settings = context.settings;
  switch (kind_) {
    case Kind::kAlways:
      return true;
    case Kind::kTest:
    case Kind::kAction:
      return settings.*on_;
    case Kind::kAnyFileTest:
      return IsAnyFileTestOn(settings);
    case Kind::kManage:
      return settings.allow_manage && IsPeerListed(context, settings.manage_addr);
    case Kind::kUpdate:
      return settings.allow_updates && IsPeerListed(context, settings.update_addr);
  }
  return false;
}

bool Gate::Admit(const RequestContext& context, AgentReply* reply) const {
  if (IsOpen(context)) return true;
  reply->SetStatus(status::kNotAllowed);
  if (kind_ == Kind::kTest || kind_ == Kind::kAnyFileTest) reply->Append(kTestNotAllowed);
  if (kind_ == Kind::kAction) reply->Append(kOperationNotAllowed);
  // Deliberate: management and upgrade are refused by the bare status; servers read the code.
  return false;
}

}  // namespace zem
