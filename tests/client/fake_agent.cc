// SPDX-License-Identifier: BSD-2-Clause
#include "client/fake_agent.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <utility>

#include "core/unique_fd.h"
#include "protocol/digest.h"
#include "protocol/packet.h"

namespace zem::test {

namespace {

constexpr int kTick = 20;

}  // namespace

bool FakeSession::WaitReadable() {
  while (!*over_) {
    pollfd wait = {fd_, POLLIN, 0};
    if (poll(&wait, 1, kTick) > 0) return true;
  }
  return false;
}

std::string FakeSession::Receive(size_t most) {
  if (!WaitReadable()) return "";
  std::string bytes(most, '\0');
  const ssize_t got = recv(fd_, bytes.data(), bytes.size(), 0);
  bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
  return bytes;
}

std::string FakeSession::ReadRequest() {
  std::string received;
  while (!IsPacketComplete(received)) {
    const std::string more = Receive(1024);
    if (more.empty()) return "";
    received += more;
  }
  RequestPacket packet;
  packet.text = received;
  if (!ParseRequestPacket(&packet, kFakePassword, PasswordDigest(kFakePassword), {})) return "";
  key_ = packet.key->Text().View();
  return std::string(packet.text.View());
}

void FakeSession::Send(std::string_view bytes) {
  (void)send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);  // a client that left is no failure
}

std::string FakeSession::Packet(std::string_view plaintext) const {
  return std::string(BuildPacket(plaintext, key_, kReplyHeaderBytes).View());
}

void FakeSession::Sleep(int milliseconds) {
  for (; milliseconds > 0 && !*over_; milliseconds -= kTick) {
    char byte = 0;
    if (recv(fd_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(kTick));
  }
}

FakeAgent::FakeAgent(Script script) {
  if (listen(listener_.Fd(), 64) != 0) return;  // every connection fails
  thread_ = std::thread([this, script = std::move(script)] { Serve(script); });
}

FakeAgent::~FakeAgent() {
  over_ = true;
  if (thread_.joinable()) thread_.join();
}

void FakeAgent::Serve(const Script& script) {
  for (int number = 0; !over_;) {
    pollfd wait = {listener_.Fd(), POLLIN, 0};
    if (poll(&wait, 1, kTick) <= 0) continue;
    const UniqueFd connection(accept(listener_.Fd(), nullptr, nullptr));
    if (!connection.IsOpen()) continue;
    FakeSession session(connection.Get(), &over_);
    script(&session, number++);
    // Take what is left, so that closing does not turn into a reset that eats the reply.
    shutdown(connection.Get(), SHUT_WR);
    char rest[4096];
    pollfd left = {connection.Get(), POLLIN, 0};
    while (!over_ && poll(&left, 1, 200) > 0 && recv(left.fd, rest, sizeof(rest), 0) > 0) {
    }
  }
}

}  // namespace zem::test
