// SPDX-License-Identifier: BSD-2-Clause
// What a request costs: server processor time of one, a new connection each, 8 clients, the agent
// as a daemon. Beside it the machine's own price of a connection and of the cipher's parts, and a
// packaged agent with TLS, all in turn in each round; medians over the rounds. Ratios move with
// what a machine asks for system calls, so the baselines' own figures stand in the table.
//
//   build/bench/bench/request_cost [rounds, default 7] [seconds a turn, default 1]
//
// Aims: a key set-up within 2 us; a small request within 0.8 of the packaged agent's cheapest, and
// within its bare connection + its blocks + 15 us; GetInfo within the small request + its further
// blocks
// + 10 %; zemctl within 1.5 times of /bin/true + the exchange.
#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bare_server.h"
#include "e2e/agent_process.h"
#ifdef ZEM_PACKAGED_PEER
#include "packaged_peer.h"
#endif
#include "protocol/cipher.h"
#include "server.h"

namespace zem::bench {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr int kClients = 8;
constexpr clockid_t kOwnCpu = CLOCK_THREAD_CPUTIME_ID;
constexpr size_t kKeyBytes = 16;  // of the session key, under the password

// The figures of each round, by what was measured.
using Figures = std::map<std::string, std::vector<double>>;

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double CpuMicroseconds(const Server& server, Seconds turn) {
  std::atomic<long> done{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> clients;
  const double before = server.CpuSeconds();
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back([&] {
      while (!stop) done += server.ask() ? 1 : 0;
    });
  }
  std::this_thread::sleep_for(turn);
  stop = true;
  for (std::thread& client : clients) client.join();
  return (server.CpuSeconds() - before) * 1e6 / static_cast<double>(std::max(done.load(), 1L));
}

double SecondsOf(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

template <typename Step>
double MicrosecondsEach(clockid_t clock, int times, Step step) {
  const double begin = SecondsOf(clock);
  for (int i = 0; i < times; ++i) step();
  return (SecondsOf(clock) - begin) * 1e6 / times;
}

void MeasureCipher(Figures* figures) {
  (*figures)["key set-up"].push_back(MicrosecondsEach(kOwnCpu, 2000, [] {
    const Cipher cipher("session-key-0123");
    asm volatile("" : : "r"(&cipher) : "memory");
  }));
  const Cipher cipher("session-key-0123");
  const std::string text(4096, 't');
  std::string out(text.size(), '\0');
  (*figures)["byte enciphered"].push_back(
      MicrosecondsEach(kOwnCpu, 50, [&] { cipher.Encipher(text, out.data()); }) / 4096);
  (*figures)["byte deciphered"].push_back(
      MicrosecondsEach(kOwnCpu, 50, [&] { cipher.Decipher(text, out.data()); }) / 4096);
}

void Run(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  if (posix_spawn(&pid, arguments[0], &quiet, nullptr, arguments.data(), environ) == 0) {
    waitpid(pid, nullptr, 0);
  }
  posix_spawn_file_actions_destroy(&quiet);
}

Exchange ExchangeOf(const test::AgentProcess& agent, const std::string& text) {
  const auto reply = agent.Ask(text);
  if (!reply || !reply->starts_with("200")) {
    fprintf(stderr, "the agent does not answer\n");
    exit(1);
  }
  return {test::Packet(text + "\r"), 4 + reply->size() + 1};
}

// Blocks of the cipher in an exchange: its key, its request, its reply.
double Blocks(const Exchange& exchange, size_t text_bytes) {
  return static_cast<double>(kKeyBytes + text_bytes + exchange.reply_bytes - 4);
}

void Row(const char* what, double figure, const char* unit, double limit = 0) {
  printf("%-52s %8.2f %s", what, figure, unit);
  if (limit > 0) printf("   aim %.2f: %s", limit, figure <= limit ? "held" : "MISSED");
  printf("\n");
}

int Measure(int rounds, Seconds turn) {
  test::AgentProcess agent(
      {.switches = {"-d"}, .config = "logsuccess=0\nlogfails=1\nfileexists=1\n"});
  const std::string small_text = "TEST-FileExists\n/etc/passwd\n";
  const std::string info_text = "GetInfo\n";
  const Exchange small = ExchangeOf(agent, small_text);
  const Exchange info = ExchangeOf(agent, info_text);
  const BareServer bare_small(small);
  const BareServer bare_info(info);
  const auto of_agent = [&](const char* name, const Exchange& exchange) {
    return Server{name, {agent.Pid()}, [&] { return Ask(agent.Port(), exchange); }};
  };
  std::vector<Server> servers = {bare_small.AsServer("bare, small"), of_agent("small", small),
                                 bare_info.AsServer("bare, info"), of_agent("info", info)};
#ifdef ZEM_PACKAGED_PEER
  const PackagedPeer peer(agent.Dir() / "");
  if (peer.IsThere()) servers.push_back(peer.AsServer());
#endif
  const std::string zemctl = test::ProgramPath() + "ctl";
  Figures figures;
  for (int round = 0; round < rounds; ++round) {
    for (const Server& server : servers) {
      figures[server.name].push_back(CpuMicroseconds(server, turn));
    }
    MeasureCipher(&figures);
    // In turn: an exchange right behind another would find everything at hand.
    figures["true and exchange"].push_back(MicrosecondsEach(CLOCK_MONOTONIC, 100, [&] {
      Run({"/bin/true"});
      Ask(agent.Port(), info);
    }));
    figures["ping"].push_back(MicrosecondsEach(CLOCK_MONOTONIC, 100, [&] {
      Run({zemctl, "--agent-config", agent.ConfigPath(), "ping"});
    }));
  }

  const auto median = [&](const std::string& name) { return Median(figures[name]); };
  const double byte = median("byte enciphered");
  const double small_blocks = Blocks(small, small_text.size() + 1) * byte;
  const double info_blocks = Blocks(info, info_text.size() + 1) * byte;
  printf("medians of %d rounds; server processor time a request, %d clients, in microseconds\n",
         rounds, kClients);
  Row("key set-up", median("key set-up"), "us", 2);
  Row("byte enciphered (a block)", byte, "us");
  Row("byte deciphered, beside enciphered", median("byte deciphered") / byte, "");
  Row("bare connection, bytes of the small request", median("bare, small"), "us");
  Row("small request (a file's size and age)", median("small"), "us",
      median("bare, small") + small_blocks + 15);
  Row("bare connection, bytes of GetInfo", median("bare, info"), "us");
  Row("GetInfo", median("info"), "us", 1.1 * (median("small") + info_blocks - small_blocks));
  if (servers.size() > 4) {
    Row(servers[4].name.c_str(), median(servers[4].name), "us");
    Row("small request beside it", median("small") / median(servers[4].name), "", 0.8);
  }
  Row("/bin/true and an exchange (GetInfo), wall time", median("true and exchange"), "us");
  Row("zemctl ping, from start to exit", median("ping"), "us", 1.5 * median("true and exchange"));
  return 0;
}

}  // namespace
}  // namespace zem::bench

int main(int argc, char** argv) {
  return zem::bench::Measure(argc > 1 ? atoi(argv[1]) : 7,
                             zem::bench::Seconds(argc > 2 ? atof(argv[2]) : 1.0));
}
