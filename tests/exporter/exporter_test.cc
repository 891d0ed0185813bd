// SPDX-License-Identifier: BSD-2-Clause
// The exporter over HTTP, between agents that lie and dawdle and clients that do the same.
#include "exporter.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "client/fake_agent.h"
#include "temp_dir.h"

namespace zem::exporter {
namespace {

using client::Deadline;
using client::Milliseconds;
using test::FakeAgent;
using test::FakeSession;

constexpr const char* kInfo =
    "200\nAgentVersion=1.32\nAgentPlatform=\x1b\xff<b>\nHostName=h\nPort=1\nTimeout=1\n"
    "ActiveConnections=1\nOpenedConnections=7\nFailedConnections=2\n\r";

UniqueFd ConnectTo(int port) {
  UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(connect(fd.Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  return fd;
}

// Everything until the peer closes.
std::string ReadAll(const UniqueFd& fd) {
  std::string all;
  char buffer[4096];
  for (ssize_t got = 0; (got = recv(fd.Get(), buffer, sizeof(buffer), 0)) > 0;) {
    all.append(buffer, static_cast<size_t>(got));
  }
  return all;
}

UniqueFd AnyPort(int* port) {
  UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  EXPECT_EQ(bind(fd.Get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  EXPECT_EQ(listen(fd.Get(), 64), 0);
  getsockname(fd.Get(), reinterpret_cast<sockaddr*>(&address), &size);
  *port = ntohs(address.sin_port);
  return fd;
}

// The exporter with one rule for the agent's port, on a port of its own.
class Site {
 public:
  explicit Site(int agent_port, const HttpLimits& limits = {}, size_t workers = 4)
      : agent_port_(agent_port), exporter_(dir_ / "exporter.yml", workers, 8) {
    WriteFile(dir_ / "pw", test::kFakePassword);
    chmod((dir_ / "pw").c_str(), 0600);
    WriteConfig("- disk: {paths: [/]}\n    - cpu: {}\n    - processes: {names: [zem]}");
    std::string error;
    EXPECT_TRUE(exporter_.Load(&error)) << error;
    UniqueFd listener = AnyPort(&port_);
    server_.emplace(std::move(listener), limits, [this](const Request& request, Later* later) {
      return exporter_.Answer(request, later);
    });
  }

  void WriteConfig(const std::string& checks) const {
    WriteFile(dir_ / "exporter.yml", "auths: {main: " + (dir_ / "pw") +
                                         "}\ntargets:\n  - match: [127.0.0.1, a.invalid]\n"
                                         "    auth: main\n    ports: " +
                                         std::to_string(agent_port_) +
                                         "\nmodules:\n  default:\n    " + checks + "\n");
  }

  std::string Ask(const std::string& first_line, const std::string& headers = "") const {
    const UniqueFd fd = ConnectTo(port_);
    const std::string text =
        first_line + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n" + headers + "\r\n";
    EXPECT_EQ(send(fd.Get(), text.data(), text.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(text.size()));
    return ReadAll(fd);
  }
  std::string Probe(const std::string& more = "", const std::string& headers = "") const {
    return Ask("GET /probe?target=127.0.0.1:" + std::to_string(agent_port_) + more, headers);
  }
  int Port() const { return port_; }
  HttpServer& Server() { return *server_; }

 private:
  const int agent_port_;
  TempDir dir_;
  Exporter exporter_;
  int port_ = 0;
  std::optional<HttpServer> server_;
};

TEST(ExporterTest, WhatIsNotListedNeverGetsAConnection) {
  std::atomic<int> connections = 0;
  const FakeAgent agent([&](FakeSession*, int) { ++connections; });
  const std::string port = std::to_string(agent.Port());
  const Site site(agent.Port() == 65535 ? 1 : agent.Port() + 1);  // the agent's port is not listed
  for (const std::string& target : {"127.0.0.1:" + port, "localhost:" + port, "127.1:" + port,
                                    "[::ffff:127.0.0.1]:" + port, "127.0.0.1%3A" + port}) {
    const std::string answer = site.Ask("GET /probe?target=" + target);
    EXPECT_TRUE(Holds(answer, "HTTP/1.1 40")) << target << answer;
  }
  EXPECT_EQ(connections, 0);
}

TEST(ExporterTest, ASlowCheckFailsAloneAndInTime) {
  const FakeAgent agent([](FakeSession* session, int) {
    const std::string request = session->ReadRequest();
    if (request.starts_with("GetInfo")) session->Reply(kInfo);
    if (request.starts_with("TEST-UNC")) session->Sleep(60'000);
    if (request.starts_with("TEST-CPU")) session->Reply("200\n12.5000\n\r");
    if (request.starts_with("TEST-Process")) session->Reply("300\n<script>\x1b\n\r");
  });
  const Site site(agent.Port());
  const auto start = client::Clock::now();
  const std::string page = site.Probe("", "X-Prometheus-Scrape-Timeout-Seconds: 4\r\n");
  const auto took = client::Clock::now() - start;
  EXPECT_GE(took, Milliseconds(500));
  EXPECT_LT(took, Milliseconds(3900));
  for (const char* line :
       {"zem_up 1\n", "zem_check_success{check=\"disk /\"} 0\n", "zem_cpu_usage_ratio 0.125\n",
        "zem_check_success{check=\"cpu\"} 1\n", "zem_check_success{check=\"processes zem\"} 0\n",
        "probe_success 0\n", "zem_agent_connections_opened_total 7\n",
        "platform=\"\\\\x1b\\\\xff<b>\""}) {
    EXPECT_TRUE(Holds(page, line)) << line << page;
  }
  const std::string start_page = site.Ask("GET /");
  EXPECT_TRUE(Holds(start_page, "disk /: connected, but no reply in time")) << start_page;
  // What an agent says is text on a page, never part of it.
  const std::string debug = site.Probe("&debug=true", "X-Prometheus-Scrape-Timeout-Seconds: 4\r\n");
  EXPECT_TRUE(Holds(debug, "processes zem: 300 <script>\\x1b\n")) << debug;
  EXPECT_TRUE(Holds(debug, " s of 3.500 s\n")) << debug;
  EXPECT_TRUE(Holds(debug, "Content-Type: text/plain") && Holds(debug, "nosniff"));

  const Config config = ParseConfig(
      "auths: {a: /x}\ntargets: [{match: 127.0.0.1, auth: a}]\nmodules: {m: [disk: {paths: /}]}\n",
      "f.yml", [](const std::string&) { return client::Secret(); });
  Resolver resolver;
  EXPECT_TRUE(Probe(ParseTarget("127.0.0.1:" + std::to_string(agent.Port())), test::kFakePassword,
                    {&config.modules.at("m").front()}, Deadline(Milliseconds(1500)), &resolver)
                  .slow);
}

TEST(ExporterTest, SaysWhyAnAgentDoesNotAnswer) {
  enum Then { kHangUp, kStay, kFlood };
  const struct {
    Then first;
    Then second;
    const char* reason;
  } kCases[] = {{kHangUp, kHangUp, "closed"},
                {kHangUp, kStay, "password"},
                {kStay, kStay, "timeout"},
                {kFlood, kStay, "other"}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.reason);
    const FakeAgent agent([&](FakeSession* session, int number) {
      const Then then = number == 0 ? c.first : c.second;
      if (number == 0) (void)session->ReadRequest();
      if (then == kFlood) session->Send(std::string("\0\0\x10\0", 4));  // 1 MiB, says the length
      if (then != kHangUp) session->Sleep(60'000);
    });
    const Site site(agent.Port());
    const std::string page = site.Probe("", "X-Prometheus-Scrape-Timeout-Seconds: 4\r\n");
    EXPECT_TRUE(Holds(page, std::string("reason=\"") + c.reason + "\"} 1\n")) << page;
    EXPECT_TRUE(Holds(page, "zem_up 0\n") && Holds(page, "{check=\"cpu\"} 0\n")) << page;
  }
}

TEST(ExporterTest, ABadFileLeavesTheOldOneInForce) {
  const FakeAgent agent = test::Answering(kInfo);
  const Site site(agent.Port());
  site.WriteConfig("- cpus: {}");
  EXPECT_TRUE(Holds(site.Ask("POST /-/reload"), "exporter.yml:8: \"cpus\" is no kind of check"));
  EXPECT_TRUE(Holds(site.Probe(), "zem_up 1\n"));
  EXPECT_TRUE(Holds(site.Ask("GET /metrics"), "config_last_reload_successful 0\n"));
  site.WriteConfig(
      "- du: {paths: /}\n  same:\n    - du: {paths: [/, /a]}\n  other:\n"
      "    - du: {paths: /, recursive: true}");
  EXPECT_TRUE(Holds(site.Ask("POST /-/reload"), " 200 OK"));
  EXPECT_TRUE(Holds(site.Probe("&module=default&module=same"), "{check=\"du /\"}"));
  EXPECT_TRUE(Holds(site.Probe("&module=default&module=other"), "have different checks \"du /\""));
  EXPECT_TRUE(Holds(site.Ask("GET /-/reload"), " 405 "));
}

TEST(ExporterTest, SlowClientsAreShutDownAndTheOthersServed) {
  const FakeAgent agent = test::Answering(kInfo);
  Site site(agent.Port(),
            {.connections = 8, .first_request = Milliseconds(300), .between = Milliseconds(1500)});
  std::vector<UniqueFd> slow;
  for (int i = 0; i < 5; ++i) slow.push_back(ConnectTo(site.Port()));
  bool shut = false;
  for (int i = 0; i < 100 && !shut; ++i) {  // a byte every so often
    for (const UniqueFd& fd : slow) (void)send(fd.Get(), "G", 1, MSG_NOSIGNAL);
    std::this_thread::sleep_for(Milliseconds(50));
    site.Server().Sweep();
    pollfd wait = {slow.front().Get(), POLLIN, 0};
    shut = poll(&wait, 1, 0) > 0;
  }
  EXPECT_TRUE(shut);
  EXPECT_TRUE(Holds(site.Probe(), "zem_up 1\n"));
  EXPECT_TRUE(Holds(site.Ask("GET /" + std::string(40'000, 'x')), "HTTP/1.1 414"));
}

TEST(WorkQueueTest, OneJobAKeyAndHalfOfTheWorkersForTheSlow) {
  std::atomic<int> same = 0;
  std::atomic<int> slow = 0;
  std::atomic<int> quick = 0;
  std::atomic<int> late = 0;
  std::atomic<bool> release = false;
  const Deadline minute(Milliseconds(60'000));
  const auto until = [](const auto& condition) {
    for (int i = 0; i < 3000 && !condition(); ++i) std::this_thread::sleep_for(Milliseconds(10));
    return condition();
  };
  WorkQueue queue(4, 20);
  const auto block = [&](std::atomic<int>* count) {
    ++*count;
    while (!release) std::this_thread::sleep_for(Milliseconds(5));
    --*count;
    return true;
  };
  // Once each, to be known as slow.
  for (const char* key : {"a", "b", "c"})
    EXPECT_TRUE(queue.Push({key, minute, [] { return true; }}));
  ASSERT_TRUE(until([&] { return queue.Waiting() + queue.Running() == 0; }));
  for (const char* key : {"a", "b", "c"}) {
    EXPECT_TRUE(queue.Push({key, minute, [&] { return block(&slow); }}));
  }
  EXPECT_TRUE(queue.Push({"d", minute, [&] { return block(&same); }}));
  EXPECT_TRUE(queue.Push({"d", minute, [&] { return block(&same); }}));
  EXPECT_TRUE(queue.Push({"e", minute, [&] { return ++quick, false; }}));
  EXPECT_TRUE(until([&] { return quick == 1 && slow == 2 && same == 1; })) << quick << slow << same;
  // Waiting: a slow one and the second of the same key.
  EXPECT_TRUE(queue.Push({"c", Deadline(Milliseconds(0)), [&] { return ++late, false; }}));
  EXPECT_TRUE(until([&] { return late == 1; }));
  for (int i = 0; i < 15; ++i) EXPECT_TRUE(queue.Push({"d", minute, [] { return false; }}));
  EXPECT_FALSE(queue.Push({"d", minute, [] { return false; }}));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(queue.Push({"c", minute, [] { return false; }}));
  EXPECT_FALSE(queue.Push({"e", minute, [] { return false; }}));
  EXPECT_TRUE(slow == 2 && same == 1);
  release = true;
  EXPECT_TRUE(until([&] { return queue.Waiting() + queue.Running() == 0; }));
}

}  // namespace
}  // namespace zem::exporter
