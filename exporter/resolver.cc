// SPDX-License-Identifier: BSD-2-Clause
#include "resolver.h"

#include <netdb.h>
#include <sys/socket.h>

#include "core/unique_fd.h"

namespace zem::exporter {

using client::Clock;
using client::FailureKind;

namespace {

constexpr int kThreads = 4;
constexpr size_t kMostNames = 4096;
constexpr std::chrono::seconds kRemembered{60};
constexpr std::chrono::seconds kRememberedFailure{10};
// How long what was remembered serves on while it is looked up again.
constexpr std::chrono::minutes kServesOn{10};
constexpr std::chrono::seconds kSlow{1};

std::string LookUp(const std::string& name, std::vector<std::string>* addresses) {
  addrinfo wanted = {};
  wanted.ai_family = AF_UNSPEC;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const int code = getaddrinfo(name.c_str(), nullptr, &wanted, &list);
  if (code != 0) return gai_strerror(code);
  const AddrInfoPtr owner(list);
  for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
    char text[NI_MAXHOST];
    if (getnameinfo(entry->ai_addr, entry->ai_addrlen, text, sizeof(text), nullptr, 0,
                    NI_NUMERICHOST) == 0) {
      addresses->emplace_back(text);
    }
  }
  return addresses->empty() ? "it has no address" : "";
}

}  // namespace

Resolver::Resolver() {
  for (int i = 0; i < kThreads; ++i) {
    threads_.emplace_back([this, takes_slow = i < kThreads / 2] { Work(takes_slow); });
  }
}

Resolver::~Resolver() {
  {
    const std::lock_guard lock(mutex_);
    over_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void Resolver::Work(bool takes_slow) {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(
        lock, [&] { return over_ || !wanted_.empty() || (takes_slow && !wanted_slow_.empty()); });
    if (over_) return;
    std::deque<std::string>& queue = wanted_.empty() ? wanted_slow_ : wanted_;
    const std::string name = std::move(queue.front());
    queue.pop_front();
    lock.unlock();
    const Clock::time_point start = Clock::now();
    std::vector<std::string> addresses;
    const std::string error = LookUp(name, &addresses);
    const Clock::time_point now = Clock::now();
    lock.lock();
    // What is wanted is never thrown away.
    *entries_.at(name) = {false, now - start > kSlow,
                          now + (error.empty() ? kRemembered : kRememberedFailure),
                          std::move(addresses), error};
    changed_.notify_all();
  }
}

// Names come from requests: a suffix in the rules admits any number of them.
bool Resolver::MakeRoom() {
  if (entries_.size() < kMostNames) return true;
  std::erase_if(entries_, [](const auto& pair) { return !pair.second->is_wanted; });
  return entries_.size() < kMostNames;
}

std::vector<std::string> Resolver::Resolve(const std::string& name,
                                           const client::Deadline& deadline,
                                           client::Failure* failure) {
  std::unique_lock lock(mutex_);
  auto found = entries_.find(name);
  if (found == entries_.end()) {
    if (!MakeRoom()) {
      *failure = {FailureKind::kResolve, "too many names wait for the name service", ""};
      return {};
    }
    found = entries_.emplace(name, std::make_shared<Entry>()).first;
  }
  // Held: room may be made before this thread looks at it again.
  const std::shared_ptr<Entry> entry = found->second;
  const Clock::time_point now = Clock::now();
  if (now > entry->until && !entry->is_wanted) {
    entry->is_wanted = true;
    (entry->is_slow ? wanted_slow_ : wanted_).push_back(name);
    changed_.notify_all();
  }
  const bool serves = !entry->addresses.empty() && now < entry->until + kServesOn;
  if (!serves && !changed_.wait_for(lock, deadline.Left(), [&] { return !entry->is_wanted; })) {
    *failure = {FailureKind::kResolve, "no answer from the name service for " + name, ""};
    return {};
  }
  if (!entry->error.empty()) {
    *failure = {FailureKind::kResolve, "cannot resolve " + name + ": " + entry->error, ""};
    return {};
  }
  return entry->addresses;
}

}  // namespace zem::exporter
