// SPDX-License-Identifier: BSD-2-Clause
#include "core/own_connections.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <unordered_map>

#include "core/monotonic_clock.h"
#include "core/mutex.h"

namespace zem {

namespace {

// While the listener's backlog is full the far end of a connection may be made late, from what this
// end sends again: the system gives that up within two minutes.
constexpr int64_t kHalfOpenMs = 128'000;

struct Use {
  int open = 0;
  int64_t keep_until_ms = 0;
};

Mutex g_lock;
std::unordered_map<uint64_t, Use> g_uses ZEM_GUARDED_BY(g_lock);
uint16_t g_own_port ZEM_GUARDED_BY(g_lock) = 0;  // network byte order

uint64_t Key(const Endpoint& end) {
  return uint64_t{end.address} << 16 | end.port;
}

bool HasEnded(const Use& use, int64_t now_ms) {
  return use.open == 0 && use.keep_until_ms < now_ms;
}

// `get`: getsockname or getpeername.
bool GetEnd(int (*get)(int, sockaddr*, socklen_t*), int socket, Endpoint* end) {
  sockaddr_in address = {};
  socklen_t length = sizeof(address);
  if (get(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return false;
  *end = {address.sin_addr.s_addr, address.sin_port};
  return true;
}

}  // namespace

bool OwnConnection::Register(int socket) {
  if (registered_) return true;
  Endpoint far_end;
  const bool has_far_end = GetEnd(getpeername, socket, &far_end);
  if (!GetEnd(getsockname, socket, &near_end_)) return false;
  MutexLock lock(&g_lock);
  may_be_half_open_ = !has_far_end || far_end.port == g_own_port;
  ++g_uses[Key(near_end_)].open;
  registered_ = true;
  return true;
}

void OwnConnection::End() {
  if (!registered_) return;
  registered_ = false;
  const int64_t keep_until_ms = MonotonicMilliseconds() + (may_be_half_open_ ? kHalfOpenMs : 0);
  MutexLock lock(&g_lock);
  Use& use = g_uses[Key(near_end_)];
  --use.open;
  use.keep_until_ms = std::max(use.keep_until_ms, keep_until_ms);
}

void SetOwnPort(int port) {
  MutexLock lock(&g_lock);
  g_own_port = htons(static_cast<uint16_t>(port));
}

bool IsOwnConnection(const Endpoint& near_end) {
  MutexLock lock(&g_lock);
  return g_uses.count(Key(near_end)) > 0;
}

std::vector<Endpoint> EndedOwnConnections(int64_t now_ms) {
  std::vector<Endpoint> ended;
  MutexLock lock(&g_lock);
  for (const auto& [key, use] : g_uses) {
    if (!HasEnded(use, now_ms)) continue;
    ended.push_back({static_cast<uint32_t>(key >> 16), static_cast<uint16_t>(key)});
  }
  return ended;
}

void ForgetOwnConnection(const Endpoint& near_end, int64_t now_ms) {
  MutexLock lock(&g_lock);
  const auto found = g_uses.find(Key(near_end));
  if (found != g_uses.end() && HasEnded(found->second, now_ms)) g_uses.erase(found);
}

}  // namespace zem
