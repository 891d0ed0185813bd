// SPDX-License-Identifier: BSD-2-Clause
// The one place that holds the present settings.
//
// Readers take a snapshot: a pointer copy that never waits for a file. Writers take turns: each
// works on a copy, with no lock held, and publishes it whole, so nobody ever sees a half-loaded
// record and file work keeps no reader waiting.
// Threads: any.

#ifndef ZEM_CORE_SETTINGS_STORE_H_
#define ZEM_CORE_SETTINGS_STORE_H_

#include <functional>

#include "core/mutex.h"
#include "core/settings.h"
#include "text/ovstring.h"

namespace zem {

class SettingsStore {
 public:
  explicit SettingsStore(const Settings& initial);

  SettingsPtr Snapshot() const;

  // Loads the configuration file into the live settings. A failed load is published too, but for
  // an empty password or program path: those keep their previous value, or a file that is missing
  // for a moment would admit anybody and the next restart would end the agent.
  [[nodiscard]] bool Load(OvString* error);

  // Publishes what `change` makes of a copy.
  void Update(const std::function<void(Settings*)>& change);

  // The same, then saves the file. The change is live even when the save fails.
  [[nodiscard]] bool UpdateAndSave(const std::function<void(Settings*)>& change, OvString* error);

 private:
  class Turn;

  SettingsPtr BeginTurn();
  void Publish(SettingsPtr settings);
  void EndTurn();

  mutable Mutex mutex_;
  Condition turn_ended_;
  bool turn_taken_ ZEM_GUARDED_BY(mutex_) = false;
  SettingsPtr current_ ZEM_GUARDED_BY(mutex_);
};

}  // namespace zem

#endif  // ZEM_CORE_SETTINGS_STORE_H_
