// SPDX-License-Identifier: BSD-2-Clause
// The agent's shared services, made once by main and used by every thread until the process ends.

#ifndef ZEM_CORE_AGENT_H_
#define ZEM_CORE_AGENT_H_

#include "core/activity_log.h"
#include "core/process_control.h"
#include "core/settings_store.h"
#include "core/unproven_sessions.h"
#include "core/wrong_passwords.h"

namespace zem {

struct Agent {
  explicit Agent(const Settings& initial) : settings(initial), log(&settings) {}

  SettingsStore settings;
  ActivityLog log;
  ProcessControl control;
  UnprovenSessions unproven;
  WrongPasswords wrong_passwords;
};

}  // namespace zem

#endif  // ZEM_CORE_AGENT_H_
