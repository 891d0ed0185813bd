// SPDX-License-Identifier: BSD-2-Clause
#include "client/fake_agent.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <utility>

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
  listener_.Reset(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  socklen_t length = sizeof(address);
  if (bind(listener_.Get(), generic, length) != 0 || listen(listener_.Get(), 64) != 0 ||
      getsockname(listener_.Get(), generic, &length) != 0) {
    return;  // the port stays 0, and every connection fails
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this, script = std::move(script)] { Serve(script); });
}

FakeAgent::~FakeAgent() {
  over_ = true;
  if (thread_.joinable()) thread_.join();
}

void FakeAgent::Serve(const Script& script) {
  for (int number = 0; !over_;) {
    pollfd wait = {listener_.Get(), POLLIN, 0};
    if (poll(&wait, 1, kTick) <= 0) continue;
    const UniqueFd connection(accept(listener_.Get(), nullptr, nullptr));
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
