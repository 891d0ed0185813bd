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

struct Lie {
  const char* name;
  void (*script)(FakeSession* session);
  int exit_code;
  const char* said;  // part of what the person reads
  int plugin_exit;
};

TEST(LyingAgentTest, EachLieHasItsExitCodeAndItsWord) {
  const Lie lies[] = {
      {"closes at once", [](FakeSession*) {}, 4, "closed without a reply", 2},
      {"closes after the request", [](FakeSession* s) { (void)s->ReadRequest(); }, 4,
       "closed without a reply", 2},
      {"half a length",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Send("\x05");
       },
       4, "closed after 1 of 4 bytes", 2},
      {"length alone",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Send(Length(100));
       },
       4, "closed after 0 of 100 bytes", 2},
      {"one byte missing",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         const std::string packet = s->Packet("200\n12.5\n\r");
         s->Send(packet.substr(0, packet.size() - 1));
       },
       4, "closed after 9 of 10 bytes", 2},
      {"4 GiB announced",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Send("\xff\xff\xff\xff" + std::string(100, 'x'));
         s->Sleep(3000);
       },
       6, "a length of 4294967295", 3},
      {"one byte above the cap",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Send(Length(64 * 1024 * 1024 + 1));
         s->Sleep(3000);
       },
       6, "a length of 67108865", 3},
      {"another protocol",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Send("HTTP/1.1 400 Bad Request\r\n\r\n");
       },
       6, "begins with \"HTTP\"", 3},
      {"empty text",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Send(Length(0));
       },
       6, "no end mark", 3},
      {"no end mark",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Reply("200\n12.5\n");
       },
       6, "no end mark", 3},
      {"garbage under the length",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Send(Length(40) + std::string(40, 'x'));
       },
       6, "no end mark", 3},
      {"nothing but the end mark",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Reply("\r");
       },
       6, "an empty reply", 3},
      {"a number that is none",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Reply("200\n\x1b]0;evil\x07\n\r");
       },
       6, "is not a number: \"\\x1b]0;evil\\x07\"", 3},
      {"silence",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Sleep(5000);
       },
       3, "no reply in time", 2},
      {"stops in the middle",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Send(Length(100) + "abc");
         s->Sleep(5000);
       },
       3, "stopped after 3 bytes", 2},
      {"a byte every so often",
       [](FakeSession* s) {
         (void)s->ReadRequest();
         s->Send(Length(1000));
         for (int i = 0; i < 100; ++i) {
           s->Send("x");
           s->Sleep(60);
         }
       },
       3, "stopped after", 2},
  };
  for (const Lie& lie : lies) {
    SCOPED_TRACE(lie.name);
    const FakeAgent agent([&lie](FakeSession* session, int number) {
      // Every second connection is the silent one that looks for the reason.
      if (number % 2 == 1 && lie.exit_code == 4) {
        session->Sleep(1000);
      } else {
        lie.script(session);
      }
    });
    const Clock::time_point start = Clock::now();
    const ClientRun run = AskFake(agent, "-t 1 cpu");
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1800));
    EXPECT_EQ(run.exit_code, lie.exit_code) << run.err;
    EXPECT_NE(run.err.find(lie.said), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(AskFake(agent, "check_zem -t 1 cpu").exit_code, lie.plugin_exit);
  }
}

TEST(LyingAgentTest, StatusesHaveTheirExitCodes) {
  struct Case {
    const char* reply;
    int exit_code;
    int plugin_exit;
    const char* said;
  };
  const Case cases[] = {
      {"200\n12.5\n", 0, 0, ""},
      {"300\nbroken\n", 1, 3, "300 broken"},
      {"301\nCPUUsage script is not speified\n", 1, 3, "set cpuusagescript"},
      {"302\n", 1, 3, "another upgrade"},
      {"500\n", 6, 3, "500 unknown"},
      {"501\nWrong parameter\n", 6, 3, "501 Wrong parameter"},
      {"502\n", 6, 3, "no end mark"},
      {"600\ntest is not allowed\n", 5, 3, "cpuusage=1"},
      {"777\n", 6, 3, "unknown status"},
      {"Wrong parameter\n", 6, 3, "Wrong parameter"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reply);
    const FakeAgent agent([&c](FakeSession* session, int) {
      EXPECT_EQ(session->ReadRequest(), "TEST-CPU\n\r");
      session->Reply(std::string(c.reply) + '\r');
    });
    const ClientRun run = AskFake(agent, "cpu");
    EXPECT_EQ(run.exit_code, c.exit_code);
    EXPECT_NE((run.out + run.err).find(c.said), std::string::npos) << run.err;
    const ClientRun plugin = AskFake(agent, "check_zem cpu");
    EXPECT_EQ(plugin.exit_code, c.plugin_exit) << plugin.out;
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

TEST(ReplyReaderTest, TakesALongReplyWhole) {
  std::string names;
  for (int i = 0; i < 20'000; ++i) names += "process-" + std::to_string(i) + "%0D%0A";
  const FakeAgent agent([&](FakeSession* session, int) {
    (void)session->ReadRequest();
    session->Reply("200\n" + names + "\n\r");
  });
  EXPECT_NE(AskFake(agent, "procs").out.find("count              20000\n"), std::string::npos);
}

TEST(DiagnosisTest, TellsAFilterFromAWrongPassword) {
  {
    const FakeAgent filter([](FakeSession*, int) {});
    const ClientRun run = AskFake(filter, "cpu");
    EXPECT_NE(run.err.find("connection filter rejects this address"), std::string::npos) << run.err;
  }
  {
    const FakeAgent closer([](FakeSession* session, int number) {
      if (number == 0) {
        (void)session->ReadRequest();
      } else {
        EXPECT_EQ(session->Receive(1), "");  // the second connection says nothing
      }
    });
    const ClientRun run = AskFake(closer, "cpu");
    EXPECT_NE(run.err.find("wrong password"), std::string::npos) << run.err;
  }
  {
    const FakeAgent talker([](FakeSession* session, int number) {
      if (number > 0) session->Send("220 mail ready\r\n");
    });
    const ClientRun run = AskFake(talker, "cpu");
    EXPECT_NE(run.err.find("another program"), std::string::npos) << run.err;
  }
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
  const FakeAgent agent([](FakeSession* session, int) {
    (void)session->ReadRequest();
    session->Reply("200\n12.5\n\r");
  });
  const FakeAgent silent([](FakeSession* session, int) { session->Sleep(5000); });
  const std::string good = "127.0.0.1:" + std::to_string(agent.Port());
  const std::string dead = "127.0.0.1:" + std::to_string(silent.Port());
  const Clock::time_point start = Clock::now();
  const ClientRun run = AskFake(agent, "-t 1 -H " + dead + "," + good + "," + good + " cpu");
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1800));
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_EQ(run.out.substr(0, 4), "HOST");
  EXPECT_NE(run.out.find(dead + "  timeout"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("12.5% used"), std::string::npos);

  const std::string file = Scratch("# all of them\n" + good + "\n\n" + dead + "\n");
  const ClientRun plugin = AskFake(agent, "check_zem -t 0.3 --hosts " + file + " cpu");
  EXPECT_EQ(plugin.exit_code, 2);
  EXPECT_TRUE(plugin.out.starts_with("CPU CRITICAL - 1 of 2 hosts OK | '" + good + " cpu'=12.5%"))
      << plugin.out;
  const ClientRun json = AskFake(agent, "-o json -t 0.3 --parallel 1 --hosts " + file + " cpu");
  EXPECT_NE(json.out.find("\"hosts\": ["), std::string::npos);
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
      {"not allowed", [](FakeSession* s) { s->Reply("600\n\r"); }, 5, "allowupdates=1"},
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

TEST(MaskTest, PasswordShowsOnlyWhenAskedFor) {
  const FakeAgent agent([](FakeSession* session, int) {
    (void)session->ReadRequest();
    session->Reply("200\nPort=1\nTimeout=1\nPassword=hunter2\nComment=Password=x\n\r");
  });
  for (const char* form : {"-o raw", "-o json", "-o table"}) {
    const ClientRun run = AskFake(agent, std::string(form) + " settings get");
    EXPECT_EQ((run.out + run.err).find("hunter2"), std::string::npos) << run.out;
  }
  const ClientRun shown = AskFake(agent, "-o raw settings get --show-password");
  EXPECT_EQ(shown.out, "200\nPort=1\nTimeout=1\nPassword=hunter2\nComment=Password=x\n");
}

}  // namespace
}  // namespace zem::client
