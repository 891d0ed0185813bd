// SPDX-License-Identifier: BSD-2-Clause
// Peers and surroundings that mean harm: whatever they do, who has the password is answered, and
// what was used up for them comes back.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "e2e/agent_process.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

void LimitDescriptors(rlim_t count) {
  const rlimit limit = {count, count};
  setrlimit(RLIMIT_NOFILE, &limit);
}

// Notes what the agent uses while nobody does anything, and asks for it back at the end.
class Footprint {
 public:
  explicit Footprint(const AgentProcess& agent)
      : agent_(agent), descriptors_(WhenAlone()), kilobytes_(agent.ResidentKilobytes()) {}

  void ExpectBack() const {
    EXPECT_LE(WhenAlone(), descriptors_);
    if (!ZEM_SANITIZED) {
      // Given back in the first quiet second.
      EXPECT_TRUE(Eventually([&] { return agent_.ResidentKilobytes() <= kilobytes_ + 512; }))
          << agent_.ResidentKilobytes() << " KiB, at first " << kilobytes_;
    }
  }

 private:
  // Open descriptors once the only session left is the one that asks.
  size_t WhenAlone() const {
    EXPECT_TRUE(Eventually(
        [&] { return Holds(agent_.Ask("GetInfo").value_or(""), "ActiveConnections=1\n"); }));
    size_t fewest = agent_.OpenDescriptors();
    for (int i = 0; i < 20; ++i) {
      std::this_thread::sleep_for(5ms);
      fewest = std::min(fewest, agent_.OpenDescriptors());
    }
    return fewest;
  }

  const AgentProcess& agent_;
  const size_t descriptors_;
  const long kilobytes_;
};

TEST(HostilePeers, SilentOnesAreDroppedAndDelayNobody) {
  AgentProcess agent(Options{.config = "timeout=4000\n"});
  const Footprint before(agent);
  std::vector<Connection> silent;
  // Every other one has the password, and falls silent in the middle of a large request.
  const std::string large = Packet("GetInfo\n" + std::string(60'000, 'x') + "\r");
  for (int i = 0; i < 500; ++i) {
    const Connection& peer = silent.emplace_back(agent.Port());
    if (i % 2 == 0) {
      EXPECT_TRUE(peer.Send(std::string_view(large).substr(0, 60'000)));
    }
  }
  const auto begin = Clock::now();
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(agent.Answers());
  EXPECT_LT(Clock::now() - begin, ZEM_SANITIZED ? 20s : 3s);
  before.ExpectBack();
  for (const Connection& peer : silent) EXPECT_TRUE(peer.ClosesWithin(0));
}

TEST(HostilePeers, AThousandRejectedOnesStayBounded) {
  if (LacksLoopbackNet()) GTEST_SKIP() << LacksLoopbackNet();
  AgentProcess agent(Options{.config = "filteractive=1\nfiltermarks=1\nfilterlist=127.0.0.7\n",
                             .wait_until_listening = false});
  ASSERT_TRUE(Eventually([&] { return Connection(agent.Port(), "127.0.0.7").IsOpen(); }));
  std::vector<Connection> peers;
  for (int i = 0; i < 1000; ++i) {
    const Connection& peer = peers.emplace_back(agent.Port());
    if (i % 2 == 0) (void)peer.Send("hello");
  }
  for (const Connection& peer : peers) EXPECT_TRUE(peer.ClosesWithin(30'000));
  EXPECT_LE(agent.OpenDescriptors(), 256U + 16U);
  const Connection listed(agent.Port(), "127.0.0.7");
  ASSERT_TRUE(listed.Send(Packet("GetInfo\r")));
  EXPECT_TRUE(Holds(listed.ReceiveReply().value_or(""), "FailedConnections=1000\n"));
}

TEST(HostilePeers, OneThatNeverReadsItsReplyHoldsOnlyItself) {
  if (ZEM_SANITIZED) GTEST_SKIP() << "enciphers megabytes, and slowly so";
  AgentProcess agent(Options{.config = "timeout=60000\n"});
  // More than the buffers of both ends take in.
  const std::string comment(4 << 20, 'c');
  ASSERT_EQ(agent.Ask("SetSettings\nComment=" + comment + "\n"), "200\n");
  std::vector<Connection> deaf;
  for (int i = 0; i < 2; ++i) {
    const Connection& peer = deaf.emplace_back(agent.Port());
    const int small = 4096;
    setsockopt(peer.Fd(), SOL_SOCKET, SO_RCVBUF, &small, sizeof(small));
    ASSERT_TRUE(peer.Send(Packet("GetInfo\r")));
    EXPECT_EQ(peer.Receive(4).size(), 4U) << "the reply is under way";
  }
  for (int i = 0; i < 20; ++i) EXPECT_EQ(agent.Ask("TEST-Ping"), "500\nnot implemented yet\n");
  const auto begin = Clock::now();
  EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
  EXPECT_EQ(agent.WaitForExit(), 0);
  EXPECT_GT(Clock::now() - begin, 4s) << "they had their time";
  EXPECT_LT(Clock::now() - begin, 15s);
}

TEST(HostilePeers, AClosedConnectionMakesRoomAtTheDescriptorLimit) {
  AgentProcess agent(
      Options{.config = "timeout=-1\n", .before_exec = [] { LimitDescriptors(64); }});
  // They have the password, so none of them has to go once it has been read. That is waited for
  // before the rest come: on a busy machine a password can still be unread when descriptors are
  // short.
  constexpr size_t kBeforeTheShortage = 40;
  std::vector<Connection> slow;
  for (size_t i = 0; i < 80; ++i) {
    if (i == kBeforeTheShortage) std::this_thread::sleep_for(1s);
    ASSERT_TRUE(slow.emplace_back(agent.Port()).Send(Packet("GetInfo\r").substr(0, 30)));
  }
  const Connection waiting(agent.Port());
  ASSERT_TRUE(waiting.Send(Packet("GetInfo\r")));
  EXPECT_FALSE(waiting.ClosesWithin(1500));
  EXPECT_LT(agent.OpenDescriptors(), 63U) << "a reserve is left for the sessions that run";
  for (size_t i = 0; i < kBeforeTheShortage; ++i) EXPECT_FALSE(slow[i].ClosesWithin(0)) << i;
  slow.clear();
  EXPECT_TRUE(Holds(waiting.ReceiveReply().value_or(""), "200\n"));
  EXPECT_TRUE(agent.Answers());
}

TEST(HostilePeers, WithHardlyAnyDescriptorsItServesOneAfterTheOther) {
  for (const rlim_t limit : {rlim_t{8}, rlim_t{9}, rlim_t{12}}) {
    SCOPED_TRACE(limit);
    AgentProcess agent(Options{.before_exec = [limit] { LimitDescriptors(limit); }});
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(agent.Answers()) << i;
    EXPECT_FALSE(agent.HasExited());
  }
}

// A file-size limit stands for the full disk: writes fail, as they do there.
TEST(HostileSystem, AFullDiskCostsLogEntriesAndNothingElse) {
  AgentProcess agent(Options{.switches = {"-i", "-v"}, .before_exec = [] {
                               const rlimit limit = {2000, 2000};
                               setrlimit(RLIMIT_FSIZE, &limit);
                             }});
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(agent.Answers()) << i;
  EXPECT_EQ(agent.VerboseLog().size(), 2000U);

  const std::string config = ReadFile(agent.ConfigPath());
  EXPECT_EQ(agent.Ask("SetSettings\nComment=" + std::string(900, 'x') +
                      "\nUpdateAddr=" + std::string(900, 'y') + "\nManageAddr=127.0.0.1," +
                      std::string(900, 'z') + "\n"),
            "300\nCannot create new configuration file '" + agent.ConfigPath() + ".New'\n");
  EXPECT_EQ(ReadFile(agent.ConfigPath()), config);
  EXPECT_FALSE(FileExists(agent.ConfigPath() + ".New"));

  ASSERT_EQ(agent.Ask("ReloadCfg\n"), "200\nOk\n");
  const Connection upgrade(agent.Port());
  ASSERT_TRUE(upgrade.Send(Packet("UpgradeCode\n5000\n\r")));
  EXPECT_EQ(upgrade.ReceiveReply(), "200\n");
  ASSERT_TRUE(upgrade.Send(std::string(5000, 'p')));
  EXPECT_EQ(upgrade.ReceiveReply(), "300\nWrite error\n");
  EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
  EXPECT_EQ(agent.WaitForExit(), 0);
}

TEST(HostileSystem, WithoutThreadsConnectionsAreClosedAndLogged) {
  if (ZEM_SANITIZED) GTEST_SKIP() << "sanitizers cap the stack themselves";
#if defined(__FreeBSD__)
  GTEST_SKIP() << "the stack of a thread has a size of its own here";
#endif
  AgentProcess agent(Options{.wait_until_listening = false, .before_exec = [] {
                               // A thread's stack is as large as this limit: none can be had.
                               const rlimit limit = {rlim_t{1} << 50, RLIM_INFINITY};
                               setrlimit(RLIMIT_STACK, &limit);
                             }});
  ASSERT_TRUE(Eventually([&] { return Connection(agent.Port()).IsOpen(); }));
  const Connection peer(agent.Port());
  EXPECT_TRUE(peer.ClosesWithin(30'000));
  EXPECT_TRUE(Eventually([&] {
    return Holds(agent.BadLog(), "]\t 127.0.0.1\t Error: cannot start session thread\n");
  }));
  // Who wants to fill the disk has to come more often than the log takes.
  for (int i = 0; i < 3000; ++i) (void)Connection(agent.Port());
  EXPECT_TRUE(
      Eventually([&] { return Holds(agent.BadLog(), " unserved connections left out\n"); }));
  EXPECT_FALSE(agent.HasExited());
}

}  // namespace
}  // namespace zem::test
