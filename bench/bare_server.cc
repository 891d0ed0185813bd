// SPDX-License-Identifier: BSD-2-Clause
#include "bare_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "e2e/wire_client.h"

namespace zem::bench {

namespace {

const Exchange* served = nullptr;  // of the forked server

void* ServeOne(void* argument) {
  const auto fd = static_cast<int>(reinterpret_cast<intptr_t>(argument));
  pthread_detach(pthread_self());
  char buffer[1024];
  size_t got = 0;
  while (got < served->request.size()) {
    const ssize_t n = recv(fd, buffer, sizeof(buffer), 0);
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  const std::string reply(served->reply_bytes, 'r');
  (void)!send(fd, reply.data(), reply.size(), MSG_NOSIGNAL);
  shutdown(fd, SHUT_RDWR);
  close(fd);
  return nullptr;
}

[[noreturn]] void Serve(int listener) {
  for (;;) {
    const int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) continue;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, ServeOne, reinterpret_cast<void*>(intptr_t{fd})) != 0) {
      close(fd);
    }
  }
}

int ListenOnFreePort(int* port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(address);
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(fd, 512) != 0) abort();
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  *port = ntohs(address.sin_port);
  return fd;
}

}  // namespace

bool Ask(int port, const Exchange& exchange) {
  const test::Connection connection(port);
  return connection.IsOpen() && connection.Send(exchange.request) &&
         connection.Receive(exchange.reply_bytes).size() == exchange.reply_bytes;
}

BareServer::BareServer(const Exchange& as_many_bytes) : exchange(as_many_bytes) {
  const int listener = ListenOnFreePort(&port);
  const pid_t pid = fork();
  if (pid == 0) {
    served = &exchange;
    Serve(listener);
  }
  close(listener);
  child = std::make_unique<Child>(pid);
}

Server BareServer::AsServer(const std::string& name) const {
  return {name, {child->Pid()}, [this] { return Ask(port, exchange); }};
}

}  // namespace zem::bench
