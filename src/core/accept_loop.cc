// SPDX-License-Identifier: BSD-2-Clause
#include "core/accept_loop.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <limits>
#include <utility>
#include <vector>

#include "checks/system/created_file.h"
#include "checks/system/process_runner.h"
#include "core/exit_status.h"
#include "core/inherited_state.h"
#include "core/listener.h"
#include "core/monotonic_clock.h"
#include "core/own_connections.h"
#include "core/platform.h"
#include "core/session.h"
#include "core/signals.h"
#include "core/start_up.h"
#include "text/system_error.h"

namespace zem {

namespace {

constexpr timespec kWait = {1, 0};
constexpr int kReplySeconds = 5;
constexpr size_t kManySessions = 256;
constexpr int64_t kForgettingPauseMs = 1000;
constexpr int kScriptRetries = 20;
constexpr unsigned kScriptRetryPause = 10'000;  // microseconds

int ShortageFrom(size_t descriptor_limit) {
  constexpr size_t kLeastReserve = 8;
  constexpr size_t kShareOfLimit = 16;
  const size_t reserve = std::max(kLeastReserve, descriptor_limit / kShareOfLimit);
  const size_t from = descriptor_limit > reserve ? descriptor_limit - reserve : 0;
  return static_cast<int>(std::min<size_t>(from, std::numeric_limits<int>::max()));
}

bool IsShortage(int error_number) {
  return error_number == EMFILE || error_number == ENFILE || error_number == ENOBUFS ||
         error_number == ENOMEM;
}

// Not every stream: a session may hold one for as long as it likes, and nothing that is read has
// anything to flush.
void FlushConsole() {
  fflush(stdout);
}

// A file that another thread's fork still holds open for writing is busy for a moment.
void Execute(const OvString& path) {
  const InheritedState& inherited = InheritedState::Get();
  for (int retry = 0; retry < kScriptRetries; ++retry) {
    execve(path.CStr(), inherited.Arguments(), inherited.Environment());
    if (errno != ETXTBSY) return;
    usleep(kScriptRetryPause);
  }
}

}  // namespace

AcceptLoop::AcceptLoop(Agent* agent, UniqueFd listener, PidFile* pid_file, size_t descriptor_limit)
    : agent_(agent),
      listener_(std::move(listener)),
      pid_file_(pid_file),
      port_in_use_(agent->settings.Snapshot()->port),
      shortage_from_(ShortageFrom(descriptor_limit)),
      parked_(descriptor_limit),
      connection_log_(&agent->log) {}

void AcceptLoop::Run() {
  for (;;) {
    SetEmergencyRestart(agent_->settings.Snapshot()->zempath, pid_file_->HeldPath());
    ServeSignals();
    TerminateIfRequested();
    RestartIfRequested();
    UpgradeIfRequested();
    SwitchPortIfChanged();
    ReapLeftPrograms();
    connection_log_.TellLeftOut();
    ForgetOwnConnections();
    if (WaitForConnection() && HasRoom()) AcceptOne();
  }
}

void AcceptLoop::ServeSignals() {
  const Crash crash = TakeCrash();
  if (crash != Crash::kNone) {
    agent_->log.WriteLog("Segmentation fault!!\n", 0, LogKind::kFailure);
  }
  if (crash == Crash::kRestart) {
    agent_->log.WriteLog("Restarting..\n", 0, LogKind::kFailure);
    CrashIsLogged();
    agent_->control.RequestRestart();
  }
  if (TakeHangUp()) reload_due_ = true;
  if (reload_due_) Reload();
}

// While a session saves, which a slow disk can draw out, the reload stays due: whoever connects is
// not kept waiting for it. The close of that session wakes the main thread to try again.
void AcceptLoop::Reload() {
  reload_due_ = !agent_->settings.TryLoad();
  if (reload_due_) agent_->control.WakeOnSessionClose(true);
}

void AcceptLoop::End(int status) {
  agent_->control.StopReplies(kReplySeconds);
  agent_->control.RemoveUpgradeFiles();
  RemoveCreatedFiles();
  FlushConsole();
  // No destructor: sessions are still using what they would destroy.
  _exit(status);
}

void AcceptLoop::TerminateIfRequested() {
  if (!agent_->control.TerminateRequested()) return;
  agent_->log.WriteLog("Terminate request received. Terminating..\n", 0, LogKind::kInformation);
  pid_file_->Remove();
  End(exit_status::kOk);
}

// Deliberate: after a failed execution the listening socket stays closed.
void AcceptLoop::ExecuteInPlace(const char* announcement, const OvString& path,
                                const char* failure) {
  agent_->log.WriteLog(announcement, 0, LogKind::kInformation);
  listener_.Reset();
  pid_file_->Remove();
  agent_->control.StopReplies(kReplySeconds);
  if (path != agent_->control.UpgradePath()) agent_->control.RemoveUpgradeFiles();
  RemoveCreatedFiles();
  FlushConsole();
  PrepareForExec();
  Execute(path);
  ReinstallAfterFailedExec();
  (void)RaiseDescriptorLimit();  // the program would have started with the inherited one
  agent_->control.ResumeReplies();
  agent_->log.WriteLog(failure, 0, LogKind::kFailure);
}

void AcceptLoop::RestartIfRequested() {
  if (!agent_->control.RestartRequested()) return;
  ExecuteInPlace("Reload request received. Executing..\n", agent_->settings.Snapshot()->zempath,
                 "Error: cannot start new instance\n");
  agent_->control.ClearRestart();
}

void AcceptLoop::UpgradeIfRequested() {
  if (!agent_->control.UpgradeRequested()) return;
  ExecuteInPlace("Upgrade request received. Executing..\n", agent_->control.UpgradePath(),
                 "Error: cannot start upgrading script\n");
  agent_->control.ClearUpgrade();
}

void AcceptLoop::SwitchPortIfChanged() {
  if (refused_port_) PutPortBack();
  const SettingsPtr settings = agent_->settings.Snapshot();
  if (settings->port == port_in_use_ || settings->port == refused_port_) return;
  OvString ignored;
  listener_.Reset();
  listener_ = ListenWithRetry(*settings, &ignored);
  if (listener_.IsOpen()) {
    port_in_use_ = settings->port;
    agent_->log.WriteLog("Server port switching .. Ok\n", 0, LogKind::kSuccess);
    return;
  }
  agent_->log.WriteLog("Error: cannot open new port for listening\n", 0, LogKind::kFailure);
  refused_port_ = settings->port;
  PutPortBack();
  Settings original = *settings;
  original.port = port_in_use_;
  listener_ = ListenWithRetry(original, &ignored);
  if (!listener_.IsOpen()) {
    agent_->log.WriteLog("Cannot open original port either. Terminating\n", 0, LogKind::kFailure);
    End(exit_status::kListen);
  }
  agent_->log.WriteLog("Return to original port\n", 0, LogKind::kFailure);
}

// The session that asked for the port may still be saving it, which a slow disk can draw out: the
// original port is opened meanwhile.
void AcceptLoop::PutPortBack() {
  const auto put_back = [this](Settings* changed) {
    if (changed->port == refused_port_) changed->port = port_in_use_;
  };
  if (agent_->settings.TryUpdate(put_back)) {
    refused_port_.reset();
  } else {
    agent_->control.WakeOnSessionClose(true);
  }
}

bool AcceptLoop::IsListenerWanted() const {
  if (!listener_.IsOpen() || room_ == Room::kBeingMade) return false;
  return room_ == Room::kEnough || agent_->unproven.CanMakeRoom();
}

// Signals are served here alone. With no listener, or one that is left out for want of
// descriptors, the wait passes all the same.
bool AcceptLoop::WaitForConnection() {
  pollfd waited[2] = {{agent_->control.WakeUpFd(), POLLIN, 0}, {listener_.Get(), POLLIN, 0}};
  const nfds_t count = IsListenerWanted() ? 2 : 1;
  const int ready = ppoll(waited, count, &kWait, &WaitMask());
  if (ready < 0) return false;
  if (waited[0].revents != 0) {
    agent_->control.DrainWakeUp();
    agent_->control.WakeOnSessionClose(false);
    room_ = Room::kEnough;
  }
  if (ready == 0) ServeQuietSecond();
  return count == 2 && waited[1].revents != 0;
}

// Called with a connection waiting. Short of descriptors it has the stranger who came first make
// room, and leaves the connection where it is until then.
bool AcceptLoop::HasRoom() {
  if (room_ == Room::kEnough) return true;
  if (agent_->unproven.ShutDownOldest()) room_ = Room::kBeingMade;
  return false;
}

// What many sessions together had is given back once they are gone.
void AcceptLoop::ServeQuietSecond() {
  if (room_ != Room::kEnough) room_ = IsShortageOver() ? Room::kEnough : Room::kShort;
  if (accepted_ < kManySessions || agent_->control.Counters().active > 0) return;
  accepted_ = 0;
  ReturnFreeMemory();
}

// Asked once a second: a shortage need not be the sessions' doing, and the close of the one that
// would end it may have come too early to be noticed. Where only a few numbers exist at all they
// may be used while nobody else does.
bool AcceptLoop::IsShortageOver() const {
  if (agent_->control.Counters().active == 0) return true;
  const UniqueFd lowest_free(fcntl(agent_->control.WakeUpFd(), F_DUPFD_CLOEXEC, 0));
  return lowest_free.IsOpen() && lowest_free.Get() < shortage_from_;
}

void AcceptLoop::AcceptOne() {
  Endpoint peer;
  UniqueFd connection = AcceptConnection(listener_.Get(), &peer);
  if (!connection.IsOpen()) {
    HandleAcceptError(errno);
    return;
  }
  ++accepted_;
  // The lowest free number was given: a high one means that few are left.
  if (connection.Get() >= shortage_from_) PauseAccepting();
  const SettingsPtr settings = agent_->settings.Snapshot();
  if (settings->filter_active && !IsAdmitted(*settings, peer.address)) {
    Reject(std::move(connection), peer.address);
    return;
  }
  connection_log_.Accepted(peer.address);
  if (!StartSession(agent_, std::move(connection), peer)) connection_log_.Unserved(peer.address);
}

void AcceptLoop::HandleAcceptError(int error_number) {
  if (IsPassingAcceptError(error_number)) return;
  if (IsShortage(error_number)) {
    PauseAccepting();
    return;
  }
  agent_->log.WriteLogFormat(0, LogKind::kFailure, "Accept fatal error: %s\n\n",
                             SystemErrorText(error_number).CStr());
  End(exit_status::kListen);
}

// Parked descriptors are given up first. Otherwise connections wait in the backlog until a stranger
// has made room, a session closes, or the shortage is seen to be over.
void AcceptLoop::PauseAccepting() {
  if (parked_.CloseAll()) return;
  agent_->control.WakeOnSessionClose(true);
  room_ = Room::kShort;
}

// Deliberate: an address passes when its dotted text occurs anywhere in the allow list, so 10.0.0.1
// is admitted by an entry 10.0.0.15. Deployed lists depend on the loose match; do not tighten it.
bool AcceptLoop::IsAdmitted(const Settings& settings, uint32_t peer) const {
  const in_addr address = {peer};
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, text, sizeof(text));
  return settings.allow_list.Find(text) != 0;
}

void AcceptLoop::Reject(UniqueFd connection, uint32_t peer) {
  agent_->control.ConnectionRejected();
  connection_log_.Rejected(peer);
  shutdown(connection.Get(), SHUT_RDWR);
  parked_.Park(std::move(connection));
}

// Once nobody waits in the backlog and no session has still to ask where its peer's end belongs,
// the ended connections led to somebody else, or to sessions that know about it. Their ends may now
// be used by others on this host.
void AcceptLoop::ForgetOwnConnections() {
  const int64_t now_ms = MonotonicMilliseconds();
  if (now_ms < next_forgetting_ms_) return;
  next_forgetting_ms_ = now_ms + kForgettingPauseMs;
  const std::vector<Endpoint> ended = EndedOwnConnections(now_ms);
  pollfd backlog = {listener_.Get(), POLLIN, 0};
  if (ended.empty() || (listener_.IsOpen() && poll(&backlog, 1, 0) != 0)) return;
  for (const Endpoint& end : ended) {
    if (!agent_->unproven.HoldsPeer(end)) ForgetOwnConnection(end, now_ms);
  }
}

}  // namespace zem
