// SPDX-License-Identifier: BSD-2-Clause
// What a handler may know beside its request.
//
// The settings are the snapshot taken when the request was complete: one request never sees two
// states of the configuration.

#ifndef ZEM_CORE_REQUEST_CONTEXT_H_
#define ZEM_CORE_REQUEST_CONTEXT_H_

#include <cstdint>

#include "core/activity_log.h"
#include "core/process_control.h"
#include "core/settings_store.h"
#include "protocol/session_key.h"

namespace zem {

class UpgradeContext;

struct RequestContext {
  const Settings& settings;
  uint32_t peer = 0;  // IPv4, network byte order
  // It came over one of the agent's own outgoing connections, so its address vouches for nobody.
  bool relayed = false;
  SessionKeyPtr session_key;
  SettingsStore* store = nullptr;
  ActivityLog* log = nullptr;
  ProcessControl* control = nullptr;
  SessionRequests* requests = nullptr;
  UpgradeContext* upgrade = nullptr;
};

}  // namespace zem

#endif  // ZEM_CORE_REQUEST_CONTEXT_H_
