// SPDX-License-Identifier: BSD-2-Clause
#include "core/settings_store.h"

#include <utility>

#include "core/config_file.h"
#include "protocol/digest.h"

namespace zem {

SettingsPtr SettingsStore::Snapshot() const {
  MutexLock lock(&mutex_);
  return current_;
}

SettingsPtr SettingsStore::BeginTurn() {
  MutexLock lock(&mutex_);
  while (turn_taken_) turn_ended_.Wait(&mutex_);
  turn_taken_ = true;
  return current_;
}

SettingsPtr SettingsStore::TryBeginTurn() {
  MutexLock lock(&mutex_);
  if (turn_taken_) return nullptr;
  turn_taken_ = true;
  return current_;
}

void SettingsStore::Publish(SettingsPtr settings) {
  // The old record is let go outside the lock: it may be the last reference to it.
  MutexLock lock(&mutex_);
  current_.swap(settings);
}

void SettingsStore::EndTurn() {
  MutexLock lock(&mutex_);
  turn_taken_ = false;
  turn_ended_.NotifyOne();
}

// The writer's turn, from a private copy of the present settings to its publication.
class SettingsStore::Turn {
 public:
  explicit Turn(SettingsStore* store) : Turn(store, store->BeginTurn()) {}
  // `previous`: what the turn began with.
  Turn(SettingsStore* store, SettingsPtr previous)
      : store_(store),
        previous_(std::move(previous)),
        copy_(std::make_shared<Settings>(*previous_)) {}
  ~Turn() { store_->EndTurn(); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  Settings* Copy() { return copy_.get(); }
  const Settings& Previous() const { return *previous_; }
  // Nobody writes to the copy once it is published.
  void Publish() {
    copy_->password_field = PasswordDigest(copy_->password);
    store_->Publish(copy_);
  }

 private:
  SettingsStore* const store_;
  SettingsPtr previous_;
  std::shared_ptr<Settings> copy_;
};

SettingsStore::SettingsStore(const Settings& initial) {
  Turn turn(this, std::make_shared<const Settings>(initial));
  turn.Publish();
}

bool SettingsStore::LoadInto(Turn* turn, OvString* error) {
  Settings* settings = turn->Copy();
  last_load_failed_ = !LoadSettings(settings, error);
  if (!last_load_failed_) return true;
  if (settings->password.IsEmpty()) settings->password = turn->Previous().password;
  if (settings->zempath.IsEmpty()) settings->zempath = turn->Previous().zempath;
  CompleteScriptPaths(settings);
  return false;
}

bool SettingsStore::Load(OvString* error) {
  Turn turn(this);
  const bool loaded = LoadInto(&turn, error);
  turn.Publish();
  return loaded;
}

bool SettingsStore::TryLoad() {
  SettingsPtr previous = TryBeginTurn();
  if (previous == nullptr) return false;
  Turn turn(this, std::move(previous));
  OvString ignored;
  (void)LoadInto(&turn, &ignored);  // nobody is there to be told
  turn.Publish();
  return true;
}

bool SettingsStore::TryUpdate(const std::function<void(Settings*)>& change) {
  SettingsPtr previous = TryBeginTurn();
  if (previous == nullptr) return false;
  Turn turn(this, std::move(previous));
  change(turn.Copy());
  turn.Publish();
  return true;
}

bool SettingsStore::UpdateAndSave(const std::function<void(Settings*)>& change, OvString* error) {
  Turn turn(this);
  if (last_load_failed_ && !LoadInto(&turn, error)) *turn.Copy() = turn.Previous();
  change(turn.Copy());
  turn.Publish();
  return SaveSettings(*turn.Copy(), error);
}

}  // namespace zem
