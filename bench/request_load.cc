// SPDX-License-Identifier: BSD-2-Clause
// Server CPU microseconds a request for GetInfo, one new connection each, at 1, 8 and 64 clients,
// the best of several rounds taken in turn, beside the sum of its parts in the same run: a bare
// thread-a-connection server that reads and writes as many bytes, two key set-ups, and one block
// for every byte received under the session key or sent. The sum is taken in two ways:
//
//   alone   the bare server's figure, and the cipher's parts in a loop of their own. A processor
//           that has looped for half a second can be twice as fast as one that wakes for a request.
//   served  a server that does nothing but these parts for each connection.
//
// Aim: at most 1.3 times the sum.
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
#include <cmath>
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

// Set before a server is forked.
Exchange bare_exchange;
size_t bare_blocks = 0;  // of the cipher, beside two key set-ups; 0 = no cipher at all

void DoCipherParts() {
  uint8_t block[zem::kCipherBlock] = {};
  const zem::Cipher password("e2e password");
  const zem::Cipher session("session-key-0123");
  for (size_t i = 0; i < bare_blocks; ++i) session.EncipherBlock(block, block);
  asm volatile("" : : "r"(block), "r"(&password) : "memory");
}

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
  if (bare_blocks > 0) DoCipherParts();
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
  double per_second = 0;
  double cpu_us = HUGE_VAL;
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

struct BareServer {
  BareServer(const Exchange& exchange, size_t blocks) {
    const int listener = ListenOn(&port);
    bare_exchange = exchange;
    bare_blocks = blocks;
    pid = fork();
    if (pid == 0) RunBareServer(listener);
    close(listener);
  }
  ~BareServer() {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  BareServer(const BareServer&) = delete;
  BareServer& operator=(const BareServer&) = delete;

  int port = 0;
  pid_t pid = -1;
};

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

  const size_t blocks = exchange.reply_bytes - 4 + request_text.size() + 16;
  const BareServer bare(exchange, 0);
  const BareServer parts(exchange, blocks);
  printf("request %zu bytes, reply %zu bytes; CPU microseconds a request\n",
         exchange.request.size(), exchange.reply_bytes);
  printf("%8s %8s %8s %8s %8s %8s %8s %8s\n", "clients", "bare", "cipher", "served", "zem", "req/s",
         "alone", "served");
  for (const int clients : {1, 8, 64}) {
    Figures best_bare;
    Figures best_parts;
    Figures best_zem;
    double cipher_us = HUGE_VAL;
    for (int round = 0; round < kRounds; ++round) {
      const Seconds turn = duration / kRounds;
      KeepBest(Load(bare.port, bare.pid, exchange, clients, turn), &best_bare);
      KeepBest(Load(agent.Port(), agent.Pid(), exchange, clients, turn), &best_zem);
      KeepBest(Load(parts.port, parts.pid, exchange, clients, turn), &best_parts);
      cipher_us = std::min(cipher_us, 2 * KeySetUpUs() + static_cast<double>(blocks) * BlockUs());
    }
    printf("%8d %8.1f %8.1f %8.1f %8.1f %8.0f %8.2f %8.2f\n", clients, best_bare.cpu_us, cipher_us,
           best_parts.cpu_us, best_zem.cpu_us, best_zem.per_second,
           best_zem.cpu_us / (best_bare.cpu_us + cipher_us), best_zem.cpu_us / best_parts.cpu_us);
    fflush(stdout);
  }
  return 0;
}
