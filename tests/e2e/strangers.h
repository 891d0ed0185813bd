// SPDX-License-Identifier: BSD-2-Clause
// A crowd without the password: each drips the head of a packet, a byte a second, and dials again
// at once when it is dropped or has no byte left that would not give it away.

#ifndef ZEM_TESTS_E2E_STRANGERS_H_
#define ZEM_TESTS_E2E_STRANGERS_H_

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "e2e/wire_client.h"

namespace zem::test {

class Strangers {
 public:
  explicit Strangers(int port, size_t count = 300) : port_(port) {
    for (size_t i = 0; i < kThreads; ++i) {
      threads_.emplace_back([this, count] { Attack(count / kThreads); });
    }
  }
  ~Strangers() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
  }
  Strangers(const Strangers&) = delete;
  Strangers& operator=(const Strangers&) = delete;

  void UsePort(int port) { port_ = port; }
  int Dialled() const { return dialled_; }

 private:
  static constexpr size_t kThreads = 3;
  static constexpr int kPassesPerByte = 33;
  static constexpr size_t kHarmlessBytes = 23;  // all of the head and of the password but one

  struct Peer {
    std::unique_ptr<Connection> connection;
    size_t sent = 0;
  };

  void Attack(size_t count) {
    // Every other one announces a password that is longer than any.
    std::string packets[2] = {Packet("GetInfo\r", "a guess"), std::string(70'000, 'x')};
    packets[1].replace(0, 8, std::string("\xF0\xFF\0\0\x03\x12\xFF\xFF", 8));
    std::vector<Peer> peers(count);
    for (int pass = 0; !stop_; ++pass) {
      const bool drips = pass % kPassesPerByte == 0;
      for (size_t i = 0; i < peers.size() && !stop_; ++i) Drip(packets[i % 2], drips, &peers[i]);
      std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
  }

  void Drip(const std::string& packet, bool drips, Peer* peer) {
    const bool spent = peer->sent == (packet.size() > 1000 ? packet.size() : kHarmlessBytes);
    if (!peer->connection || spent || peer->connection->ClosesWithin(0)) {
      peer->connection.reset();
      peer->connection = std::make_unique<Connection>(port_);
      peer->sent = 0;
      ++dialled_;
    }
    if (drips && peer->connection->IsOpen()) peer->connection->Send(packet.substr(peer->sent++, 1));
  }

  std::atomic<int> port_;
  std::atomic<bool> stop_{false};
  std::atomic<int> dialled_{0};
  std::vector<std::thread> threads_;
};

}  // namespace zem::test

#endif  // ZEM_TESTS_E2E_STRANGERS_H_
