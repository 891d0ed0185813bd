// SPDX-License-Identifier: BSD-2-Clause
// Requests a second and server CPU microseconds a request for GetInfo, one new connection each, at
// 1, 8 and 64 clients, beside a bare thread-a-connection server that reads and writes as many
// bytes, in the same run: the best of several rounds taken in turn. The limit is that server plus
// the cipher's own work: two key set-ups and one block for every byte received under the session
// key or sent. Aim: at most 1.3 times.
//
//   build/bench/bench/request_load [seconds for each measurement, default 3]
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "e2e/agent_process.h"
#include "protocol/cipher.h"

namespace {

using Seconds = std::chrono::duration<double>;

constexpr int kRounds = 10;
using zem::test::AgentProcess;
using zem::test::Connection;

// CPU time that another process has used, all its threads together.
double CpuSeconds(pid_t pid) {
  clockid_t clock = {};
  timespec used = {};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &used) != 0) abort();
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

struct Exchange {
  std::string request;
  size_t reply_bytes;
};

Exchange bare_exchange;  // set before the bare server is forked

// The bare server: accept, thread, read the request's bytes, write the reply's, close.
void* ServeOne(void* argument) {
  const auto fd = static_cast<int>(reinterpret_cast<intptr_t>(argument));
  pthread_detach(pthread_self());
  char buffer[1024];
  size_t got = 0;
  while (got < bare_exchange.request.size()) {
    const ssize_t n = recv(fd, buffer, sizeof(buffer), 0);
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  const std::string reply(bare_exchange.reply_bytes, 'r');
  (void)!send(fd, reply.data(), reply.size(), MSG_NOSIGNAL);
  shutdown(fd, SHUT_RDWR);
  close(fd);
  return nullptr;
}

[[noreturn]] void RunBareServer(int listener) {
  for (;;) {
    const int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) continue;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, ServeOne, reinterpret_cast<void*>(intptr_t{fd})) != 0) {
      close(fd);
    }
  }
}

int ListenOn(int* port) {
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

struct Figures {
  double per_second;
  double cpu_us;
};

// `clients` threads ask one after the other until the time is up.
Figures Load(int port, pid_t server, const Exchange& exchange, int clients, Seconds duration) {
  std::atomic<long> done{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  const double cpu_before = CpuSeconds(server);
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < clients; ++i) {
    threads.emplace_back([&] {
      while (!stop) {
        const Connection connection(port);
        if (!connection.IsOpen() || !connection.Send(exchange.request)) continue;
        if (connection.Receive(exchange.reply_bytes).size() == exchange.reply_bytes) ++done;
      }
    });
  }
  std::this_thread::sleep_for(duration);
  stop = true;
  for (std::thread& thread : threads) thread.join();
  const Seconds took = std::chrono::steady_clock::now() - begin;
  const double cpu = CpuSeconds(server) - cpu_before;
  const auto count = static_cast<double>(done.load());
  return {count / took.count(), cpu * 1e6 / count};
}

double ThreadCpuSeconds() {
  timespec used = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

// CPU microseconds of one key set-up and of one enciphered byte on this machine, now.
double KeySetUpUs() {
  constexpr int kTimes = 1000;
  const double begin = ThreadCpuSeconds();
  for (int i = 0; i < kTimes; ++i) {
    const zem::Cipher cipher("session-key-0123");
    asm volatile("" : : "r"(&cipher) : "memory");
  }
  return (ThreadCpuSeconds() - begin) * 1e6 / kTimes;
}

double BlockUs() {
  constexpr size_t kBlocks = 1 << 18;
  const zem::Cipher cipher("session-key-0123");
  uint8_t block[zem::kCipherBlock] = {};
  const double begin = ThreadCpuSeconds();
  for (size_t i = 0; i < kBlocks; ++i) cipher.EncipherBlock(block, block);
  asm volatile("" : : "r"(block) : "memory");
  return (ThreadCpuSeconds() - begin) * 1e6 / kBlocks;
}

// What other work on the machine disturbed the least.
void KeepBest(const Figures& next, Figures* best) {
  if (next.cpu_us < best->cpu_us) *best = next;
}

}  // namespace

int main(int argc, char** argv) {
  const Seconds duration(argc > 1 ? atof(argv[1]) : 3.0);
  // A daemon, which writes no log to a console.
  AgentProcess agent(
      AgentProcess::Options{.switches = {"-d"}, .config = "logsuccess=0\nlogfails=1\n"});
  const auto text = agent.Ask("GetInfo\n");
  if (!text) {
    fprintf(stderr, "the agent does not answer\n");
    return 1;
  }
  const std::string request_text = "GetInfo\n\r";
  const Exchange exchange = {zem::test::Packet(request_text), 4 + text->size() + 1};

  int bare_port = 0;
  const int listener = ListenOn(&bare_port);
  bare_exchange = exchange;
  const pid_t bare = fork();
  if (bare == 0) RunBareServer(listener);
  close(listener);

  const double blocks = static_cast<double>(exchange.reply_bytes - 4 + request_text.size() + 16);
  printf("request %zu bytes, reply %zu bytes\n", exchange.request.size(), exchange.reply_bytes);
  printf("%8s %14s %14s %14s %14s %14s %14s %7s\n", "clients", "bare req/s", "bare cpu us",
         "cipher us", "zem req/s", "zem cpu us", "limit cpu us", "ratio");
  for (const int clients : {1, 8, 64}) {
    Figures idle = Load(bare_port, bare, exchange, clients, duration / kRounds);
    Figures zem = Load(agent.Port(), agent.Pid(), exchange, clients, duration / kRounds);
    double cipher_us = 2 * KeySetUpUs() + blocks * BlockUs();
    for (int round = 1; round < kRounds; ++round) {
      KeepBest(Load(bare_port, bare, exchange, clients, duration / kRounds), &idle);
      KeepBest(Load(agent.Port(), agent.Pid(), exchange, clients, duration / kRounds), &zem);
      cipher_us = std::min(cipher_us, 2 * KeySetUpUs() + blocks * BlockUs());
    }
    const double limit = idle.cpu_us + cipher_us;
    printf("%8d %14.0f %14.1f %14.1f %14.0f %14.1f %14.1f %7.2f\n", clients, idle.per_second,
           idle.cpu_us, cipher_us, zem.per_second, zem.cpu_us, limit, zem.cpu_us / limit);
    fflush(stdout);
  }
  kill(bare, SIGKILL);
  waitpid(bare, nullptr, 0);
  return 0;
}
