// SPDX-License-Identifier: BSD-2-Clause
// Small real servers on loopback for the tests of probes and messages.

#ifndef ZEM_TESTS_CHECKS_SYSTEM_LOOPBACK_H_
#define ZEM_TESTS_CHECKS_SYSTEM_LOOPBACK_H_

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace zem {

inline sockaddr_in LoopbackAddress(int port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// Closes its socket at the end.
class Socket {
 public:
  explicit Socket(int fd) : fd_(fd) {}
  ~Socket() { close(fd_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int Fd() const { return fd_; }

 private:
  const int fd_;
};

// A socket bound to a free port of 127.0.0.1.
class Bound {
 public:
  explicit Bound(int type) : fd_(socket(AF_INET, type | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = LoopbackAddress(0);
    socklen_t length = sizeof(address);
    EXPECT_EQ(bind(Fd(), reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(getsockname(Fd(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    port_ = ntohs(address.sin_port);
  }

  int Fd() const { return fd_.Fd(); }
  int Port() const { return port_; }
  std::string PortText() const { return std::to_string(port_); }

 private:
  Socket fd_;
  int port_ = 0;
};

// Serves one connection in a thread.
class TcpServer {
 public:
  explicit TcpServer(std::function<void(int)> serve) : bound_(SOCK_STREAM) {
    listen(bound_.Fd(), 5);
    thread_ = std::thread([this, serve = std::move(serve)] {
      pollfd wanted = {bound_.Fd(), POLLIN, 0};
      if (poll(&wanted, 1, 10000) != 1) return;
      const Socket peer(accept(bound_.Fd(), nullptr, nullptr));
      serve(peer.Fd());
    });
  }
  ~TcpServer() { Join(); }
  void Join() {
    if (thread_.joinable()) thread_.join();
  }
  std::string Port() const { return bound_.PortText(); }

 private:
  Bound bound_;
  std::thread thread_;
};

// What a peer sends until it closes.
inline std::string ReceiveAll(int fd) {
  std::string all;
  char piece[4096];
  for (ssize_t count; (count = recv(fd, piece, sizeof(piece), 0)) > 0;) {
    all.append(piece, static_cast<size_t>(count));
  }
  return all;
}

// The next datagram, or "(none)" after two seconds.
inline std::string ReceiveDatagram(int fd) {
  pollfd wanted = {fd, POLLIN, 0};
  if (poll(&wanted, 1, 2000) != 1) return "(none)";
  std::string datagram(65536, '\0');
  datagram.resize(static_cast<size_t>(recv(fd, datagram.data(), datagram.size(), 0)));
  return datagram;
}

inline constexpr std::string_view kNoAnswer = "(no answer)";

// Answers each of `count` datagrams with what `answer` makes of it.
class UdpServer {
 public:
  UdpServer(int count, std::function<std::string(const std::string&)> answer)
      : bound_(SOCK_DGRAM), thread_([this, count, answer = std::move(answer)] {
          for (int i = 0; i < count; ++i) {
            pollfd wanted = {bound_.Fd(), POLLIN, 0};
            if (poll(&wanted, 1, 10000) != 1) return;
            char piece[65536];
            sockaddr_in peer = {};
            socklen_t length = sizeof(peer);
            const ssize_t got = recvfrom(bound_.Fd(), piece, sizeof(piece), 0,
                                         reinterpret_cast<sockaddr*>(&peer), &length);
            const std::string text = answer({piece, static_cast<size_t>(got)});
            if (text == kNoAnswer) continue;
            sendto(bound_.Fd(), text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&peer),
                   length);
          }
        }) {}
  ~UdpServer() { thread_.join(); }
  std::string Port() const { return bound_.PortText(); }

 private:
  Bound bound_;
  std::thread thread_;
};

}  // namespace zem

#endif  // ZEM_TESTS_CHECKS_SYSTEM_LOOPBACK_H_
