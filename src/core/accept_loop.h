// SPDX-License-Identifier: BSD-2-Clause
// The main thread's work once the agent listens: admit connections, and carry out what sessions
// and signals ask of the process.
//
// Threads: the main thread.

#ifndef ZEM_CORE_ACCEPT_LOOP_H_
#define ZEM_CORE_ACCEPT_LOOP_H_

#include <cstdint>
#include <optional>

#include "core/agent.h"
#include "core/connection_log.h"
#include "core/parked_descriptors.h"
#include "core/pid_file.h"
#include "core/unique_fd.h"

namespace zem {

class AcceptLoop {
 public:
  // `descriptor_limit` is the soft limit now in force.
  AcceptLoop(Agent* agent, UniqueFd listener, PidFile* pid_file, size_t descriptor_limit);

  // Ends the process one day; never returns.
  [[noreturn]] void Run();

 private:
  void ServeSignals();
  void Reload();
  void TerminateIfRequested();
  void RestartIfRequested();
  void UpgradeIfRequested();
  void SwitchPortIfChanged();
  void PutPortBack();
  void ExecuteInPlace(const char* announcement, const OvString& path, const char* failure);
  bool IsListenerWanted() const;
  bool WaitForConnection();
  bool HasRoom();
  void AcceptOne();
  bool IsAdmitted(const Settings& settings, uint32_t peer) const;
  void Reject(UniqueFd connection, uint32_t peer);
  void ForgetOwnConnections();
  void HandleAcceptError(int error_number);
  void PauseAccepting();
  void ServeQuietSecond();
  bool IsShortageOver() const;
  [[noreturn]] void End(int status);

  Agent* const agent_;
  UniqueFd listener_;
  PidFile* const pid_file_;
  int port_in_use_;
  std::optional<int> refused_port_;  // still to be put back in the settings
  // The number of an accepted descriptor from which on the agent is short of them.
  const int shortage_from_;
  ParkedDescriptors parked_;
  ConnectionLog connection_log_;
  bool reload_due_ = false;
  // Whether descriptors are left for a connection. Short of them, strangers have to go before one
  // is accepted, and the loop waits for the close of the one it shut down.
  enum class Room { kEnough, kShort, kBeingMade };
  Room room_ = Room::kEnough;
  int64_t next_forgetting_ms_ = 0;
  size_t accepted_ = 0;  // since memory was last given back
};

}  // namespace zem

#endif  // ZEM_CORE_ACCEPT_LOOP_H_
