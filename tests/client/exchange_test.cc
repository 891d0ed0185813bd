// SPDX-License-Identifier: BSD-2-Clause
// The client against an agent that lies, dawdles and hangs up.
#include "wire/exchange.h"

#include <gtest/gtest.h>

#include <string>

#include "client/client_run.h"
#include "client/fake_agent.h"
#include "protocol/digest.h"
#include "protocol/zem_const.h"

namespace zem::client {
namespace {

using test::ClientRun;
using test::FakeAgent;
using test::FakeSession;
using test::RunClient;
using test::Scratch;

std::string Length(uint32_t length) {
  return std::string(EncodeLength(length, 4).View());
}

// Runs the client against the agent with its password.
ClientRun AskFake(const FakeAgent& agent, const std::string& line) {
  static const std::string password = Scratch(std::string(test::kFakePassword) + '\n');
  const bool plugin = line.starts_with("check_zem ");
  const std::string rest = plugin ? line.substr(10) : line;
  return RunClient((plugin ? "check_zem " : "") +
                   std::string("--password-file " + password + " -p ") +
                   std::to_string(agent.Port()) + " " + rest);
}

TEST(AnswersTest, EachHasItsExitCodesAndItsWord) {
  enum Then { kClose, kStay, kDrip, kGreet };
  struct Case {
    const char* name;
    std::string bytes;   // sent as they are
    std::string sealed;  // sent as a reply
    Then then;
    int exit_code;
    const char* said;  // part of what the person reads
  };
  const Case cases[] = {
      {"closes", "", "", kClose, 4, "closed without a reply"},
      {"greets who says nothing", "", "", kGreet, 4, "another program listens there"},
      {"half a length", "\x05", "", kClose, 4, "closed after 1 of 4 bytes"},
      {"length alone", Length(100), "", kClose, 4, "closed after 0 of 100 bytes"},
      {"one byte missing", Length(10) + "123456789", "", kClose, 4, "closed after 9 of 10 bytes"},
      {"4 GiB announced", "\xff\xff\xff\xff" + std::string(100, 'x'), "", kStay, 6,
       "a length of 4294967295"},
      {"one byte above the cap", Length(67'108'865), "", kStay, 6,
       "too large: 67108865 bytes, at most 67108864 are read"},
      {"another protocol", "HTTP/1.1 400 Bad Request\r\n\r\n", "", kClose, 6,
       "begins with \"HTTP\""},
      {"empty text", Length(0), "", kClose, 6, "no end mark"},
      {"no end mark", "", "200\n12.5\n", kClose, 6, "no end mark"},
      {"garbage under the length", Length(40) + std::string(40, 'x'), "", kClose, 6, "no end mark"},
      {"nothing but the end mark", "", "\r", kClose, 6, "an empty reply"},
      {"a number that is none", "", "200\n\x1b]0;evil\x07\n\r", kClose, 6,
       "is not a number: \"\\x1b]0;evil\\x07\""},
      {"done", "", "200\n12.5\n\r", kClose, 0, "12.5 %"},
      {"failed", "", "300\nbroken\n\r", kClose, 1, "300 broken"},
      {"no script", "", "301\nCPUUsage script is not speified\n\r", kClose, 1,
       "set cpuusagescript"},
      {"busy", "", "302\n\r", kClose, 1, "another upgrade"},
      {"unknown", "", "500\n\r", kClose, 6, "500 unknown"},
      {"not understood", "", "501\nWrong parameter\n\r", kClose, 6, "501 Wrong parameter"},
      {"not ended", "", "502\n\r", kClose, 6, "no end mark"},
      {"switched off", "", "600\ntest is not allowed\n\r", kClose, 5, "cpuusage=1"},
      {"a status that is none", "", "777\n\r", kClose, 6, "unknown status"},
      {"no status", "", "Wrong parameter\n\r", kClose, 6, "Wrong parameter"},
      {"silence", "", "", kStay, 3, "no reply in time"},
      {"stops in the middle", Length(100) + "abc", "", kStay, 3, "stopped after 3 bytes"},
      {"more than can be deciphered in time", Length(64 << 20) + std::string(64 << 20, 'x'), "",
       kClose, 3, "the reply"},
      {"a byte every so often", Length(1000), "", kDrip, 3, "stopped after"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const FakeAgent agent([&c](FakeSession* session, int number) {
      // Every second connection is the silent one that looks for the reason.
      if (number % 2 == 1 && c.then == kGreet) return session->Send("220 mail ready\r\n");
      if (number % 2 == 1 && c.exit_code == 4) return session->Sleep(1000);
      (void)session->ReadRequest();
      if (!c.bytes.empty()) session->Send(c.bytes);
      if (!c.sealed.empty()) session->Reply(c.sealed);
      if (c.then == kStay) session->Sleep(3000);
      for (int i = 0; c.then == kDrip && i < 100; ++i) {
        session->Send("x");
        session->Sleep(60);
      }
    });
    const Clock::time_point start = Clock::now();
    const ClientRun run = AskFake(agent, "-t 1 cpu");
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(2800));
    EXPECT_EQ(run.exit_code, c.exit_code) << run.err;
    const bool done = c.exit_code == kExitDone;
    EXPECT_NE((done ? run.out : run.err).find(c.said), std::string::npos) << run.out << run.err;
    EXPECT_EQ(done ? run.err : run.out, "");
    const bool no_reply = c.exit_code == kExitNoConnection || c.exit_code == kExitClosed;
    const ClientRun plugin = AskFake(agent, "check_zem -t 1 cpu");
    EXPECT_EQ(plugin.exit_code, done ? 0 : no_reply ? 2 : 3) << plugin.out;
    EXPECT_EQ(plugin.err, "");
  }
}

TEST(ReplyReaderTest, PutsAReplyTogetherWhereverItIsCut) {
  const std::string body = "200\n12.5\n\r";
  for (size_t cut = 1; cut < body.size() + 4; ++cut) {
    const FakeAgent agent([&](FakeSession* session, int) {
      (void)session->ReadRequest();
      const std::string packet = session->Packet(body);
      session->Send(packet.substr(0, cut));
      session->Sleep(20);
      session->Send(packet.substr(cut));
    });
    EXPECT_EQ(AskFake(agent, "cpu").out, "usage percent  12.5 %\n") << cut;
  }
}

TEST(ReplyReaderTest, RefusesAReplyThatWouldFillTheMemory) {
  const FakeAgent agent = test::Answering("200\n" + std::string(2'000'000, '\n') + "\r");
  const ClientRun run = AskFake(agent, "-t 50 raw X");
  EXPECT_EQ(run.exit_code, kExitBadRequest);
  EXPECT_NE(run.err.find("more than 2000000 lines"), std::string::npos) << run.err;
}

TEST(DiagnosisTest, NamesAPortThatNobodyListensOn) {
  int port = 0;
  {
    const FakeAgent gone([](FakeSession*, int) {});
    port = gone.Port();
  }
  const std::string options = "--no-password -p " + std::to_string(port) + " ";
  const ClientRun run = RunClient(options + "ping");
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_NE(run.err.find("nothing listens on 127.0.0.1:"), std::string::npos) << run.err;
  EXPECT_EQ(RunClient("check_zem " + options + "ping").exit_code, 2);
  EXPECT_EQ(RunClient("check_zem -u " + options + "ping").exit_code, 3);
}

TEST(TimeoutTest, StateOfATimeOutCanBeChosen) {
  const FakeAgent silent([](FakeSession* session, int) { session->Sleep(3000); });
  EXPECT_EQ(AskFake(silent, "check_zem -t 0.2 cpu").exit_code, 2);
  EXPECT_EQ(AskFake(silent, "check_zem -t 0.2:WARNING cpu").exit_code, 1);
  EXPECT_EQ(AskFake(silent, "check_zem -t 0.2:0 cpu").exit_code, 0);
  EXPECT_EQ(AskFake(silent, "check_zem -u -t 0.2 cpu").exit_code, 3);
}

TEST(SessionKeyTest, IsFreshForEveryRequest) {
  std::vector<std::string> keys;
  {
    const FakeAgent agent([&keys](FakeSession* session, int) {
      (void)session->ReadRequest();
      keys.push_back(session->Key());
      session->Reply("200\n1\n\r");
    });
    for (int i = 0; i < 3; ++i) EXPECT_EQ(AskFake(agent, "cpu").exit_code, 0);
  }
  ASSERT_EQ(keys.size(), 3U);
  EXPECT_EQ(keys[0].size(), 24U);
  EXPECT_NE(keys[0], keys[1]);
  EXPECT_NE(keys[1], keys[2]);
}

TEST(FleetTest, OneDeadHostDoesNotHoldTheOthers) {
  const FakeAgent agent = test::Answering("200\n12.5\n\r");
  const FakeAgent silent([](FakeSession* session, int) { session->Sleep(5000); });
  const std::string good = "localhost:" + std::to_string(agent.Port());
  const std::string dead = "127.0.0.1:" + std::to_string(silent.Port());
  const Clock::time_point start = Clock::now();
  const ClientRun run =
      AskFake(agent, "-t 1 -H " + dead + "," + good + "," + dead + "," + dead + " cpu");
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(2800));
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_EQ(run.out.substr(0, 4), "HOST");
  EXPECT_NE(run.out.find(dead + "  timeout"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("12.5% used"), std::string::npos);
  // A hint is read once, and not for every host.
  const std::string hint =
      "the check may take longer than the time-out (-t), or this is not an agent's port";
  EXPECT_EQ(run.out.find(hint), std::string::npos) << run.out;
  EXPECT_EQ(run.err, "timeout: " + hint + "\n1 ok, 3 timeout\n");

  const std::string file = Scratch("# all of them\n" + good + " # ours\n\n" + dead + "\n");
  const ClientRun plugin =
      AskFake(agent, "check_zem -t 0.3 -H " + dead + " --hosts " + file + " cpu");
  EXPECT_EQ(plugin.exit_code, 2);
  const std::string late = dead + " CRITICAL - connected, but no reply in time";
  EXPECT_EQ(plugin.out, "CPU CRITICAL - 1 of 3 hosts OK | '" + good + " cpu'=12.5%;;;0;100\n" +
                            late + " (" + hint + ")\n" + late + "\n" + good + " OK - 12.5% used\n");
  const ClientRun json = AskFake(agent, "-o json -t 0.3 --parallel 1 --hosts " + file + " cpu");
  EXPECT_NE(json.out.find("\"hosts\": ["), std::string::npos);
  EXPECT_NE(json.out.find("\"name\": \"" + good + "\""), std::string::npos) << json.out;
  EXPECT_NE(json.out.find("\"error_kind\": \"timeout\""), std::string::npos);
}

// What the agent's receiver depends on: the digest alone in a receive of its own.
TEST(UpgradeTransferTest, SendsTheDigestAfterThePauseAndByItself) {
  const std::string program = "\177ELF" + std::string(300'000, 'p');
  std::string received;
  std::string trailer;
  Clock::duration pause{};
  const FakeAgent agent([&](FakeSession* session, int) {
    EXPECT_EQ(session->ReadRequest(), "UpgradeCode\n300004\n\r");
    session->Reply("200\n\r");
    while (received.size() < program.size()) {
      const std::string more = session->Receive(1024);
      if (more.empty()) return;
      received += more;
    }
    const Clock::time_point whole = Clock::now();
    trailer = session->Receive(1024);
    pause = Clock::now() - whole;
    session->Reply("200\n\r");
  });
  const ClientRun run = AskFake(agent, "upgrade " + Scratch(program));
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_TRUE(received == program);
  EXPECT_EQ(trailer.size(), 16U);
  EXPECT_GE(pause, std::chrono::milliseconds(900));
}

TEST(UpgradeTransferTest, ReportsARefusalAtEveryStage) {
  const std::string file = Scratch("\177ELF" + std::string(200'000, 'p'));
  struct Case {
    const char* name;
    void (*script)(FakeSession* session);
    int exit_code;
    const char* said;
  };
  const Case cases[] = {
      {"busy", [](FakeSession* s) { s->Reply("302\n\r"); }, 1, "another upgrade"},
      {"dies during the transfer",
       [](FakeSession* s) {
         s->Reply("200\n\r");
         (void)s->Receive(10);
       },
       4, "broke off"},
      {"wrong digest",
       [](FakeSession* s) {
         s->Reply("200\n\r");
         size_t got = 0;
         while (got < 200'004) got += s->Receive(4096).size();
         (void)s->Receive(1024);
         s->Reply("300\nWrong CRC\n\r");
       },
       1, "300 Wrong CRC"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const FakeAgent agent([&c](FakeSession* session, int) {
      (void)session->ReadRequest();
      c.script(session);
    });
    const ClientRun run = AskFake(agent, "-t 5 upgrade " + file);
    EXPECT_EQ(run.exit_code, c.exit_code) << run.err;
    EXPECT_NE(run.err.find(c.said), std::string::npos) << run.err;
  }
}

}  // namespace
}  // namespace zem::client
