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
  // for a moment would admit anybody and the next restart would end the agent. Scripts without a
  // path are then looked for beside the program that stays.
  [[nodiscard]] bool Load(OvString* error);

  // The same for one who must not wait: false at once, with nothing done, while a writer has its
  // turn, however slow its file.
  [[nodiscard]] bool TryLoad();

  // Publishes what `change` makes of a copy, on the same condition.
  [[nodiscard]] bool TryUpdate(const std::function<void(Settings*)>& change);

  // Publishes what `change` makes of a copy, then saves the file. The change is live even when the
  // save fails. After a failed load the file is loaded first: the defaults that such a load leaves,
  // an open filter and switched-on checks, must not be written over a file that is whole again.
  // Where that fails as well the change is made to what is in force.
  [[nodiscard]] bool UpdateAndSave(const std::function<void(Settings*)>& change, OvString* error);

 private:
  class Turn;

  // In the writer's turn.
  bool LoadInto(Turn* turn, OvString* error);

  SettingsPtr BeginTurn();
  SettingsPtr TryBeginTurn();
  void Publish(SettingsPtr settings);
  void EndTurn();

  mutable Mutex mutex_;
  Condition turn_ended_;
  bool turn_taken_ ZEM_GUARDED_BY(mutex_) = false;
  SettingsPtr current_ ZEM_GUARDED_BY(mutex_);
  bool last_load_failed_ = false;  // belongs to the writer whose turn it is
};

}  // namespace zem

#endif  // ZEM_CORE_SETTINGS_STORE_H_
