// SPDX-License-Identifier: BSD-2-Clause
#include "core/session.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <utility>

#include "checks/system/pause.h"
#include "core/monotonic_clock.h"
#include "core/own_connections.h"
#include "core/signals.h"
#include "core/waiting_threads.h"
#include "dispatch/dispatcher.h"
#include "dispatch/upgrade.h"
#include "protocol/agent_reply.h"
#include "protocol/packet.h"

namespace zem {

namespace {

// One receive takes no more, ever: where a packet or a program ends within a receive is visible.
constexpr size_t kReceiveBytes = 1024;
constexpr int kStatusDigits = 3;
// The idle limit may be changed while a session waits, so it looks again now and then.
constexpr int64_t kLongestWaitMs = 15'000;
// A peer has so long, or so many times the idle limit, to send the password, however it drips.
constexpr int64_t kLeastGraceMs = 60'000;
constexpr int64_t kGraceTimeouts = 4;
// Without a thread for a connection: how many strangers are shut down at most, and how often each
// time it is tried again, a millisecond apart.
constexpr int kMostShutDown = 50;
constexpr int kTriesForThread = 20;

// Sends all of it. Every send that makes progress starts the socket's time limit afresh; one that
// makes none within it gives up, as does any error.
void SendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return;
    bytes.remove_prefix(static_cast<size_t>(sent));
  }
}

class Session {
 public:
  Session(Agent* agent, UniqueFd connection, const Endpoint& peer)
      : agent_(agent),
        connection_(std::move(connection)),
        peer_(peer.address),
        unproven_(connection_.Get(), peer),
        upgrade_(&agent->control) {}

  Agent* GetAgent() const { return agent_; }
  UnprovenSession* Unproven() { return &unproven_; }

  void Run();

 private:
  enum class Next { kReceiveMore, kClose };

  Next ReceiveOnce();
  Next Wait();
  int64_t WaitMilliseconds() const;
  bool IsIdleTooLong() const;
  int64_t GraceEnd(int64_t timeout) const;
  bool IsGraceOver() const;
  void CheckPassword(const Settings& settings);
  Next HandleBytes(std::string_view bytes);
  Next HandleUpgradeBytes(std::string_view bytes);
  void HandlePacket(const SettingsPtr& settings);
  void Answer(const RequestPacket& packet, const Settings& settings);
  void SendReply(AgentReply* reply);
  void Close();

  Agent* const agent_;
  UniqueFd connection_;
  const uint32_t peer_;
  OvString received_;
  UnprovenSession unproven_;
  PasswordProof proof_ = PasswordProof::kMissing;
  bool relayed_ = false;
  int64_t last_data_ms_ = 0;
  bool request_seen_ = false;
  SessionKeyPtr session_key_;
  SessionRequests requests_;
  UpgradeContext upgrade_;
};

void Session::Run() {
  agent_->control.SessionOpened();
  last_data_ms_ = MonotonicMilliseconds();
  while (ReceiveOnce() == Next::kReceiveMore && !IsGraceOver()) {
  }
  Close();
}

// Receives before it waits: a request usually stands in the socket by the time the thread runs.
Session::Next Session::ReceiveOnce() {
  char buffer[kReceiveBytes];
  const ssize_t count = recv(connection_.Get(), buffer, sizeof(buffer), MSG_DONTWAIT);
  if (count > 0) return HandleBytes(std::string_view(buffer, static_cast<size_t>(count)));
  if (count == 0) return Next::kClose;
  if (errno == EINTR) return Next::kReceiveMore;
  if (errno != EAGAIN && errno != EWOULDBLOCK) return Next::kClose;
  return Wait();
}

Session::Next Session::Wait() {
  pollfd readable = {connection_.Get(), POLLIN, 0};
  const int ready = poll(&readable, 1, static_cast<int>(WaitMilliseconds()));
  if (ready < 0 && errno != EINTR) return Next::kClose;
  if (ready == 0 && IsIdleTooLong()) return Next::kClose;
  return Next::kReceiveMore;
}

bool Session::IsIdleTooLong() const {
  const int64_t timeout = agent_->settings.Snapshot()->timeout;
  return timeout > 0 && !request_seen_ &&
         last_data_ms_ / 1000 + timeout / 1000 < MonotonicMilliseconds() / 1000;
}

int64_t Session::GraceEnd(int64_t timeout) const {
  return unproven_.accepted_ms + std::max(kLeastGraceMs, kGraceTimeouts * timeout);
}

bool Session::IsGraceOver() const {
  if (proof_ == PasswordProof::kRight) return false;
  const int64_t timeout = agent_->settings.Snapshot()->timeout;
  return timeout > 0 && GraceEnd(timeout) <= MonotonicMilliseconds();
}

// Until the first moment at which the idle rule could hold or the grace is over, but never long
// enough to miss a change of the limit.
int64_t Session::WaitMilliseconds() const {
  const int64_t timeout = agent_->settings.Snapshot()->timeout;
  if (timeout <= 0 || request_seen_) return kLongestWaitMs;
  int64_t end = (last_data_ms_ / 1000 + timeout / 1000 + 1) * 1000;
  if (proof_ != PasswordProof::kRight) end = std::min(end, GraceEnd(timeout));
  return std::clamp<int64_t>(end - MonotonicMilliseconds(), 0, kLongestWaitMs);
}

Session::Next Session::HandleBytes(std::string_view bytes) {
  if (upgrade_.IsActive()) return HandleUpgradeBytes(bytes);
  last_data_ms_ = MonotonicMilliseconds();
  received_.Append(bytes);
  const SettingsPtr settings = agent_->settings.Snapshot();
  CheckPassword(*settings);
  if (!IsPacketComplete(received_) && proof_ != PasswordProof::kWrong) return Next::kReceiveMore;
  request_seen_ = true;
  HandlePacket(settings);
  return upgrade_.IsActive() ? Next::kReceiveMore : Next::kClose;
}

// Whether the request came over a connection of the agent's own is asked before the session leaves
// the list: until then that connection is not forgotten.
void Session::CheckPassword(const Settings& settings) {
  if (proof_ == PasswordProof::kRight) return;
  proof_ = ProvesPassword(received_, settings.password_field);
  if (proof_ != PasswordProof::kRight) return;
  relayed_ = IsOwnConnection(unproven_.peer);
  agent_->unproven.Remove(&unproven_);
}

Session::Next Session::HandleUpgradeBytes(std::string_view bytes) {
  OvString error;
  const bool good = upgrade_.ReceiveUpgrade(bytes, &error);
  if (upgrade_.IsActive()) return Next::kReceiveMore;
  AgentReply reply;
  reply.StartReply(good ? status::kDone : status::kFailed, session_key_);
  if (!good) reply.Append(error);
  SendReply(&reply);
  return Next::kClose;
}

void Session::HandlePacket(const SettingsPtr& settings) {
  RequestPacket packet;
  packet.text = std::move(received_);
  PacketTrace trace;
  if (settings->verbose_debugging) {
    trace = [this](std::string_view line) { agent_->log.WriteLog(line, peer_, LogKind::kDebug); };
  }
  if (!ParseRequestPacket(&packet, settings->password, settings->password_field, trace)) {
    agent_->log.WriteLog("<-- Invalid QV request received\n", peer_, LogKind::kInformation);
    // Whatever else was wrong with it: the connection's fate told whether the password was right.
    if (proof_ == PasswordProof::kWrong) agent_->wrong_passwords.Note(peer_);
    return;
  }
  agent_->log.WriteLog("<-- Correct QV request received\n", peer_, LogKind::kInformation);
  Answer(packet, *settings);
}

void Session::Answer(const RequestPacket& packet, const Settings& settings) {
  session_key_ = packet.key;
  AgentReply reply;
  reply.StartReply({}, session_key_);
  const RequestContext context = {.settings = settings,
                                  .peer = peer_,
                                  .relayed = relayed_,
                                  .session_key = session_key_,
                                  .store = &agent_->settings,
                                  .log = &agent_->log,
                                  .control = &agent_->control,
                                  .requests = &requests_,
                                  .upgrade = &upgrade_};
  const bool processed = DispatchRequest(packet.text, context, &reply);
  const std::string_view text = reply.Text();
  const int digits = text.size() < size_t{kStatusDigits} ? 0 : kStatusDigits;
  agent_->log.WriteLogFormat(peer_, LogKind::kInformation,
                             processed ? "--> request processed (%.*s)\n"
                                       : "--> request rejected or operation failed (%.*s)\n",
                             digits, text.data());
  SendReply(&reply);
}

// Nothing is sent once the process is about to end: a peer gets a whole reply or a closed
// connection.
void Session::SendReply(AgentReply* reply) {
  const OvString packet = reply->SealReply();
  if (!agent_->control.BeginReply()) return;
  SendAll(connection_.Get(), packet);
  agent_->control.EndReply();
}

// What the request asked of the main thread is handed over last, so that nothing announced is cut
// off by it.
void Session::Close() {
  agent_->log.WriteLog("Session closed, wait for next ..\n", 0, LogKind::kInformation);
  agent_->unproven.Remove(&unproven_);
  shutdown(connection_.Get(), SHUT_RDWR);
  connection_.Reset();
  upgrade_.HandOver();
  agent_->control.SessionClosed(requests_);
}

WaitingThreads<Session> g_waiting_threads;

void* SessionThread(void* argument) {
  BlockSignalsInSession();
  const FaultStack fault_stack;
  pthread_detach(pthread_self());
  auto* session = static_cast<Session*>(argument);
  do {
    Agent* const agent = session->GetAgent();
    std::unique_ptr<Session>(session)->Run();
    agent->wrong_passwords.Tell();
    session = g_waiting_threads.Take();
  } while (session != nullptr);
  return nullptr;
}

bool StartThread(Agent* agent, Session* session) {
  // In the list first: it may be over before this function returns.
  agent->unproven.Add(session->Unproven());
  if (g_waiting_threads.Give(session)) return true;
  pthread_t thread;
  if (pthread_create(&thread, nullptr, SessionThread, session) == 0) return true;
  agent->unproven.Remove(session->Unproven());
  return false;
}

// A thread that was told to end has some way to go until another can be had in its place, more than
// usual on a busy machine: when there is nobody left to tell, those that were told are waited for.
bool StartThreadOverStrangers(Agent* agent, Session* session) {
  if (agent->unproven.IsEmpty()) return false;
  for (int i = 0; i < kMostShutDown; ++i) {
    (void)agent->unproven.ShutDownOldest();
    for (int tries = 0; tries < kTriesForThread; ++tries) {
      PauseMilliseconds(1);
      if (StartThread(agent, session)) return true;
    }
  }
  return false;
}

}  // namespace

bool StartSession(Agent* agent, UniqueFd connection, const Endpoint& peer) {
  auto session = std::make_unique<Session>(agent, std::move(connection), peer);
  if (!StartThread(agent, session.get()) && !StartThreadOverStrangers(agent, session.get())) {
    return false;
  }
  (void)session.release();  // NOLINT(bugprone-unused-return-value): the thread owns it now
  return true;
}

}  // namespace zem
