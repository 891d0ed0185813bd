// SPDX-License-Identifier: BSD-2-Clause
#include "wire/connection.h"

#include <netdb.h>
#include <sys/socket.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "core/unique_fd.h"

namespace zem::client {

namespace {

std::atomic<int> running_lookups = 0;

// Shared between the one who waits and the thread that looks up; the last one frees it.
struct Lookup {
  std::mutex mutex;
  std::condition_variable done_changed;
  bool done = false;
  int code = 0;
  std::vector<SocketAddress> addresses;
};

int LookUp(const std::string& host, int port, int flags, std::vector<SocketAddress>* addresses) {
  addrinfo wanted = {};
  wanted.ai_family = AF_UNSPEC;
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = flags | AI_NUMERICSERV;
  addrinfo* list = nullptr;
  const int code = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &list);
  if (code != 0) return code;
  const AddrInfoPtr owner(list);
  for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
    SocketAddress address = {};
    memcpy(&address.storage, entry->ai_addr, entry->ai_addrlen);
    address.length = entry->ai_addrlen;
    addresses->push_back(address);
  }
  return 0;
}

void LookUpAside(const std::shared_ptr<Lookup>& lookup, const std::string& host, int port) {
  std::vector<SocketAddress> addresses;
  const int code = LookUp(host, port, 0, &addresses);
  {
    const std::lock_guard lock(lookup->mutex);
    lookup->code = code;
    lookup->addresses = std::move(addresses);
    lookup->done = true;
  }
  lookup->done_changed.notify_one();
  --running_lookups;
}

}  // namespace

std::vector<SocketAddress> Resolve(const std::string& host, int port, const Deadline& deadline,
                                   Failure* failure) {
  std::vector<SocketAddress> addresses;
  if (LookUp(host, port, AI_NUMERICHOST, &addresses) == 0) return addresses;

  const auto lookup = std::make_shared<Lookup>();
  ++running_lookups;
  std::thread(LookUpAside, lookup, host, port).detach();
  std::unique_lock lock(lookup->mutex);
  if (!lookup->done_changed.wait_for(lock, deadline.Left(), [&] { return lookup->done; })) {
    *failure = {FailureKind::kTimeout, "no answer from the name service for " + host,
                "use an address instead of the name, or look at the resolver of this machine"};
    return {};
  }
  if (lookup->code != 0) {
    *failure = {FailureKind::kResolve, "cannot resolve " + host + ": " + gai_strerror(lookup->code),
                ""};
    return {};
  }
  return std::move(lookup->addresses);
}

bool LookupsLeftBehind() {
  return running_lookups > 0;
}

}  // namespace zem::client
