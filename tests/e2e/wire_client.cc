// SPDX-License-Identifier: BSD-2-Clause
#include "e2e/wire_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include "protocol/cipher.h"
#include "protocol/packet.h"
#include "protocol/zem_const.h"

namespace zem::test {

namespace {

constexpr int kPatienceMs = 30'000;

sockaddr_in Address(const char* host, int port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = inet_addr(host);
  return address;
}

bool IsReadable(int fd, int milliseconds) {
  pollfd waited = {fd, POLLIN, 0};
  return poll(&waited, 1, milliseconds) == 1;
}

}  // namespace

Connection::Connection(int port, const char* source, int source_port) {
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  bool is_bound = true;
  if (source != nullptr) {
    const int on = 1;
    setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    const sockaddr_in local = Address(source, source_port);
    is_bound = bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == 0;
  }
  const sockaddr_in address = Address("127.0.0.1", port);
  if (!is_bound ||
      connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    close(fd_);
    fd_ = -1;
  }
}

Connection::~Connection() {
  if (fd_ >= 0) close(fd_);
}

Connection::Connection(Connection&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

bool Connection::Send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(sent));
  }
  return true;
}

std::string Connection::Receive(size_t count) const {
  std::string bytes(count, '\0');
  size_t got = 0;
  while (got < count && IsReadable(fd_, kPatienceMs)) {
    const ssize_t n = recv(fd_, bytes.data() + got, count - got, 0);
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  bytes.resize(got);
  return bytes;
}

std::optional<std::string> Connection::ReceiveReply(std::string_view key) const {
  const std::string size = Receive(4);
  if (size.size() < 4) return std::nullopt;
  const size_t length = DecodeLength(size.data(), 4);
  if (length > (64U << 20)) return std::nullopt;
  const std::string cipher_text = Receive(length);
  const OvString text = DecipherField(cipher_text, key);
  if (cipher_text.size() < length || text.IsEmpty() || text.View().back() != '\r') {
    return std::nullopt;
  }
  return std::string(text.View().substr(0, text.Length() - 1));
}

bool Connection::ClosesWithin(int milliseconds) const {
  char byte = 0;
  return IsReadable(fd_, milliseconds) && recv(fd_, &byte, 1, 0) <= 0;
}

std::string Packet(std::string_view text, std::string_view password, std::string_view key) {
  return std::string(BuildRequestPacket(text, key, password).View());
}

std::optional<std::string> Ask(int port, std::string_view text, std::string_view password) {
  const Connection connection(port);
  if (!connection.IsOpen()) return std::nullopt;
  if (!connection.Send(Packet(std::string(text) + "\r", password))) return std::nullopt;
  return connection.ReceiveReply();
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end = 0; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  if (start < text.size()) lines.push_back(text.substr(start));
  return lines;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

}  // namespace zem::test
