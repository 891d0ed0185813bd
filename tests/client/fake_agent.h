// SPDX-License-Identifier: BSD-2-Clause
// An agent on loopback that answers as a test tells it to, lies included.

#ifndef ZEM_TESTS_CLIENT_FAKE_AGENT_H_
#define ZEM_TESTS_CLIENT_FAKE_AGENT_H_

#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "checks/system/loopback.h"

namespace zem::test {

inline constexpr std::string_view kFakePassword = "fake password";

// One accepted connection, as the test's script sees it.
class FakeSession {
 public:
  explicit FakeSession(int fd, const std::atomic<bool>* over) : fd_(fd), over_(over) {}

  // Reads one whole request and deciphers it; empty when the peer closed or it does not verify.
  std::string ReadRequest();
  // Up to `most` bytes in one receive; empty at the end.
  std::string Receive(size_t most);
  void Send(std::string_view bytes);
  // The packet of a plaintext under the request's session key, as a real agent would send it.
  std::string Packet(std::string_view plaintext) const;
  void Reply(std::string_view plaintext) { Send(Packet(plaintext)); }
  const std::string& Key() const { return key_; }
  // Waits, but not beyond the end of the connection or the test.
  void Sleep(int milliseconds);

 private:
  bool WaitReadable();

  const int fd_;
  const std::atomic<bool>* const over_;
  std::string key_;
};

class FakeAgent {
 public:
  using Script = std::function<void(FakeSession* session, int number)>;

  // Runs the script for each connection, one after the other; `number` counts from 0.
  explicit FakeAgent(Script script);
  ~FakeAgent();
  FakeAgent(const FakeAgent&) = delete;
  FakeAgent& operator=(const FakeAgent&) = delete;

  int Port() const { return listener_.Port(); }

 private:
  void Serve(const Script& script);

  const Bound listener_{SOCK_STREAM};
  std::atomic<bool> over_ = false;
  std::thread thread_;
};

// Answers every request with the same reply.
inline FakeAgent Answering(std::string reply) {
  return FakeAgent([reply = std::move(reply)](FakeSession* session, int) {
    (void)session->ReadRequest();
    session->Reply(reply);
  });
}

}  // namespace zem::test

#endif  // ZEM_TESTS_CLIENT_FAKE_AGENT_H_
