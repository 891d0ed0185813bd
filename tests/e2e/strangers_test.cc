// SPDX-License-Identifier: BSD-2-Clause
// Peers without the password who drip, redial and hold what they can get, while somebody who has it
// asks: shortage costs the strangers, oldest first.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "e2e/agent_process.h"
#include "e2e/strangers.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// Asks up to ten times a second amid the attack, ten times at least. An answer counts that comes
// within ten seconds: the strangers' time limit is a minute.
void ExpectServiceAmidStrangers(const AgentProcess& agent, std::chrono::seconds duration) {
  int asked = 0;
  int answered = 0;
  long early_kilobytes = 0;
  {
    const Strangers strangers(agent.Port());
    const auto begin = Clock::now();
    while (Clock::now() - begin < duration || (asked < 10 && answered == asked)) {
      const auto start = Clock::now();
      answered += agent.Answers() && Clock::now() - start < 10s ? 1 : 0;
      ++asked;
      if (early_kilobytes == 0 && Clock::now() - begin > duration / 4) {
        early_kilobytes = agent.ResidentKilobytes();
      }
      std::this_thread::sleep_for(100ms);
    }
    if (!ZEM_SANITIZED) {
      EXPECT_LE(agent.ResidentKilobytes(), early_kilobytes + 1024);
    }
    printf("%d of %d answered, %d dialled, %ld KiB then %ld\n", answered, asked,
           strangers.Dialled(), early_kilobytes, agent.ResidentKilobytes());
  }
  EXPECT_GE(answered * 10, asked * 9) << asked;
}

TEST(Strangers, WhoDripAndRedialLockNobodyOutForWantOfDescriptors) {
  AgentProcess agent(Options{.config = "timeout=60000\n", .before_exec = [] {
                               const rlimit limit = {64, 64};
                               setrlimit(RLIMIT_NOFILE, &limit);
                             }});
  ExpectServiceAmidStrangers(agent, 20s);
}

#ifdef ZEM_FAULT_PRELOAD

TEST(Strangers, WhoDripAndRedialLockNobodyOutForWantOfThreads) {
  AgentProcess agent(
      Options{.config = "timeout=60000\n",
              .environment = {"LD_PRELOAD=" ZEM_FAULT_PRELOAD, "ZEM_MOST_THREADS=40"}});
  ExpectServiceAmidStrangers(agent, 5s);
  EXPECT_EQ(agent.BadLog().find("cannot start session thread"), std::string::npos);
}

// A minute, told by a clock that leaps. Each byte starts the idle limit afresh.
TEST(Strangers, HaveAMinuteForThePasswordHoweverTheyDrip) {
  struct Case {
    const char* timeout;
    size_t bytes;  // of a good packet: sent at once, and then two more
    bool dropped;
  };
  for (const Case& c : {Case{"10000", 1, true}, Case{"10000", 24, false}, Case{"30000", 1, false},
                        Case{"-1", 1, false}}) {
    SCOPED_TRACE(std::string(c.timeout) + " " + std::to_string(c.bytes));
    const TempDir dir;
    AgentProcess agent(Options{
        .config = std::string("timeout=") + c.timeout + "\n",
        .environment = {"LD_PRELOAD=" ZEM_FAULT_PRELOAD, "ZEM_UPTIME_FILE=" + (dir / "uptime")}});
    const std::string packet = Packet("GetInfo\r");
    const Connection peer(agent.Port());
    ASSERT_TRUE(peer.Send(packet.substr(0, c.bytes)));
    EXPECT_FALSE(peer.ClosesWithin(200));
    WriteFile(dir / "uptime", "55");
    ASSERT_TRUE(peer.Send(packet.substr(c.bytes, 1)));
    EXPECT_FALSE(peer.ClosesWithin(200));
    WriteFile(dir / "uptime", "65");
    ASSERT_TRUE(peer.Send(packet.substr(c.bytes + 1, 1)));
    EXPECT_EQ(peer.ClosesWithin(c.dropped ? 8000 : 500), c.dropped);
  }
}

#endif  // ZEM_FAULT_PRELOAD

}  // namespace
}  // namespace zem::test
