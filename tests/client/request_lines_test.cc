// SPDX-License-Identifier: BSD-2-Clause
// What a person types, and the numbered lines it becomes.
#include <gtest/gtest.h>

#include <string>

#include "checks/system/command_words.h"
#include "client/client_run.h"
#include "commands/table.h"
#include "commands/typed_text.h"
#include "protocol/escape.h"

namespace zem::client {
namespace {

using test::Parse;
using test::Scratch;

Plan PlanFor(const std::string& line) {
  int exit_code = 0;
  std::string printed;
  const Options options = Parse(line, &exit_code, &printed);
  EXPECT_EQ(exit_code, -1) << line << ": " << printed;
  if (options.command == nullptr) return {};
  return options.command->build(options.arguments);
}

// Those without arguments are seen with a real agent.
TEST(RequestLinesTest, EveryArgumentHasItsPlace) {
  struct Case {
    const char* typed;
    const char* sent;  // without the end mark
  };
  const Case cases[] = {
      {"disk --path '/a b'", "TEST-UNC\n/a b\n"},
      // A folder ends in "/": without it the name would be a mask.
      {"du /x", "TEST-FolderSize\n/x/\n0\n\n\n\n\n\n0\n"},
      {"du /x '*.c'", "TEST-FolderSize\n/x/*.c\n0\n\n\n\n\n\n0\n"},
      {"du '/x/*.c'", "TEST-FolderSize\n/x/*.c\n0\n\n\n\n\n\n0\n"},
      {"du '/x/%newestFile%' -r --macros", "TEST-FolderSize\n/x/%newestFile%\n1\n\n\n\n\n\n1\n"},
      {"count /x", "TEST-CountFiles\n/x\n*\n0\n0\n0\n\n\n\n\n\n0\n"},
      {"count /x '*.log' -r --older 60", "TEST-CountFiles\n/x\n*.log\n1\n1\n60\n\n\n\n\n\n0\n"},
      {"count /x --newer 5", "TEST-CountFiles\n/x\n*\n0\n2\n5\n\n\n\n\n\n0\n"},
      {"count /x --bigger 1K", "TEST-CountFiles\n/x\n*\n0\n3\n1024\n\n\n\n\n\n0\n"},
      {"count /x --smaller 2147483647", "TEST-CountFiles\n/x\n*\n0\n4\n2147483647\n\n\n\n\n\n0\n"},
      {"count /x --dirs --macros", "TEST-CountFiles\n/x\n*\n0\n5\n0\n\n\n\n\n\n1\n"},
      {"exists /x", "TEST-FileExists\n/x\n\n\n\n\n\n0\n"},
      {"exists /x --macros", "TEST-FileExists\n/x\n\n\n\n\n\n1\n"},
      {"hash /x", "TEST-FileHash\n/x\n2\n0\n"},
      {"hash /x --alg CRC32 --limit 10M", "TEST-FileHash\n/x\n0\n10485760\n"},
      {"hash /x --alg sha512", "TEST-FileHash\n/x\n3\n0\n"},
      {"compare /a /b", "TEST-FileCompare\n1\n/a\n/b\n0\n1\n1\n\n\n\n\n\n0\n0\n"},
      {"compare /a /b --time --macros", "TEST-FileCompare\n1\n/a\n/b\n1\n0\n0\n\n\n\n\n\n1\n1\n"},
      {"contains /a /b", "TEST-FileCompare\n2\n/a\n/b\n\n\n\n\n\n0\n"},
      {"contains /a /b --macros", "TEST-FileCompare\n2\n/a\n/b\n\n\n\n\n\n1\n"},
      {"grep /a 'two words'", "TEST-FileCompare\n3\n/a\ntwo words\n1\n0\n\n\n\n\n\n0\n"},
      {"grep /a x -i --word --macros", "TEST-FileCompare\n3\n/a\nx\n0\n1\n\n\n\n\n\n1\n"},
      {"ls", "GetFilesList\n/\n\n1\n1\n0\n0\n1\n0\n1\n"},
      {"ls /x '*.c' --files -a --system --ctime", "GetFilesList\n/x\n*.c\n1\n1\n1\n1\n1\n1\n1\n"},
      {"ls /x/ --dirs", "GetFilesList\n/x\n\n1\n0\n0\n0\n1\n0\n1\n"},
      {"proc nginx", "TEST-Process\n\nnginx\n"},
      {"proc 'a;b' --unquoted", "TEST-Process\n\na;b\n"},
      {"tcp h 25", "TEST-TCP\nh\n25\n5000\n\n0\n"},
      {"tcp h 25 --send 'a\\r\\n' -e --receive 100 --limit 0.25",
       "TEST-TCP\nh\n25\n250\na%0D%0A\n100\n"},
      {"tcp h 25 --send 'a\\r\\n' --expect x", "TEST-TCP\nh\n25\n5000\na\\r\\n\n8192\n"},
      {"udp h 53 ' q '", "TEST-UDP\nh\n53\n2000\n3\n q \n8192\n"},
      {"udp h 53 q --attempts 1 --limit 7 --receive 0", "TEST-UDP\nh\n53\n7000\n1\nq\n0\n"},
      {"run 'sh -c true'", "TEST-ExternalPrg\nsh -c true\n\n\n10000\n"},
      {"run --limit 0 -- sh -c 'exit 3'", "TEST-ExternalPrg\nsh -c 'exit 3'\n\n\n0\n"},
      {"run --no-wait x", "TEST-ExternalPrg\nx\n\n\n-1\n"},
      {"exec --dir /tmp --limit 1.5 x", "ACT-ExternalCmd\nx\n/tmp\n0\n1500\n"},
      {"exec x", "ACT-ExternalCmd\nx\n\n0\n10000\n"},
      // Options that zemctl has too, and would take from the command.
      {"-qp 7 run pgrep -u root", "TEST-ExternalPrg\npgrep -u root\n\n\n10000\n"},
      {"exec --limit 1 rm -v -- -t", "ACT-ExternalCmd\nrm -v -- -t\n\n0\n1000\n"},
      {"syslog h hello", "ACT-Syslog\nh\n514\n1\n5\nhello\n"},
      {"syslog h x --server-port 1514 --facility 30 --severity debug",
       "ACT-Syslog\nh\n1514\n30\n7\nx\n"},
      {"send h 80 first", "ACT-TCPUDPsend\nh\n80\n0\nfirst\n0\n\n"},
      {"send h 80 'a\\n' ' b' -e --udp --pause 3", "ACT-TCPUDPsend\nh\n80\n1\na%0A\n3\n b\n"},
      {"settings set Timeout=5000 tcp=off LOGOKCONN=yes",
       "SetSettings\nTimeout=5000\nTCP=0\nLogOkConn=1\n"},
      {"settings set 'filterlist=10.0.0.1, 10.0.0.2'",
       "SetSettings\nIPFilterAddr=10.0.0.1%0D%0A10.0.0.2\n"},
      {"settings set 'Comment=a=b c' 'Execute external command=1'",
       "SetSettings\nComment=a=b c\nExecute external command=1\n"},
      {"raw X '' ' a ' [b,c] -- -d --", "X\n\n a \n[b,c]\n-d\n--\n"},
      {"-p 1 -t 3 info -o json", "GetInfo\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.typed);
    EXPECT_EQ(PlanFor(c.typed).text, std::string(c.sent) + '\r');
  }
  EXPECT_EQ(PlanFor("raw GetInfo --no-end-mark").text, "GetInfo\n");
  EXPECT_EQ(PlanFor("raw -e X 'a\nb'").text, "X\na%0Ab\n\r");
}

TEST(RequestLinesTest, RefusesWhatTheWireWouldBend) {
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"disk", {"'a\nb'", "'a\rb'", "' /x'", "'/x '"}},
      {"grep /a", {"' x'"}},
      {"raw", {"X 'a\nb'", "'X\nY'", "SetSettings 'Password = x'"}},
      {"count /x", {"--bigger 2G", "--older -1", "--older 1 --newer 2"}},
      {"hash /x", {"--alg sha1"}},
      {"ls /x", {"--dirs --files", "y --dirs"}},
      {"du /x", {"y/z"}},
      {"proc", {"'a|b'", "'a$b'"}},
      {"tcp h", {"0", "65536", "25 --limit 0", "25 --receive 8193"}},
      {"udp h 53", {"x --attempts 0", "x --limit 0.5"}},
      {"run", {"''", "--limit -1 x", "--limit 1 --no-wait x"}},
      {"plugin", {"''", "'' -w 1"}},
      {"check --from " ZEM_CHECKS_SOURCE, {"load 5 10"}},
      {"syslog h x", {"--severity 8", "--severity loud"}},
      {"send h 80", {"'a\\q' -e", "'a\\x1' -e"}},
      {"settings set",
       {"", "Port", "Port=0", "Port=x", "nope=1", "shellscript=1", "zempath=/x", "tcp=maybe",
        "Password=x", "password=x", "'Comment= x'"}},
      {"script", {"/nonexistent"}},
      {"upgrade", {"/nonexistent"}},
  };
  for (const auto& [command, arguments] : cases) {
    for (const std::string argument : arguments) {
      const std::string typed = command + (" " + argument);
      SCOPED_TRACE(typed);
      int exit_code = 0;
      const Options options = Parse(typed, &exit_code);
      ASSERT_EQ(exit_code, -1);
      EXPECT_THROW((void)options.command->build(options.arguments), std::invalid_argument);
    }
  }
}

TEST(RequestLinesTest, SettingsWarnOfWhatLingersAndTakeAPasswordFromAFileAlone) {
  EXPECT_EQ(PlanFor("settings set Comment=").warnings.size(), 1U);
  EXPECT_EQ(PlanFor("settings set IPFilterMarks=11").warnings.size(), 1U);
  EXPECT_TRUE(PlanFor("settings set Timeout=1").warnings.empty());
  EXPECT_EQ(PlanFor("settings set --new-password-file " + Scratch("new secret\n")).text,
            "SetSettings\nPassword=new secret\n\r");
}

TEST(RequestLinesTest, ScriptTravelsEscapedWithATemplateOfItsOwn) {
  const std::string path = Scratch("#!/usr/bin/env python3\r\nprint(1)\n");
  const Plan plan = PlanFor("script --lines 3 --limit 4 " + path + " -- -a 'b c'");
  EXPECT_EQ(plan.text,
            "TEST-ShellScript\n/bin/sh -c '\"$@\"; s=$?; echo; echo zemexit:$s' sh "
            "/usr/bin/env python3 %script% %params%\n"
            "#!/usr/bin/env python3%0D%0Aprint(1)%0A\n-a 'b c'\n4\n1000000\n\r");
  EXPECT_TRUE(plan.warnings.empty());
  EXPECT_EQ(PlanFor("script " + Scratch("printf %0A")).warnings.size(), 1U);

  EXPECT_EQ(TemplateFor("echo hi\n"), "/bin/sh %script% %params%");
  EXPECT_EQ(TemplateFor("#! /bin/sh -e\n"), "/bin/sh -e %script% %params%");
  EXPECT_EQ(TemplateFor("#!/usr/bin/env -S awk -f\n"), "%script% %params%");
  EXPECT_EQ(TemplateFor("#!relative\n"), "%script% %params%");
  EXPECT_EQ(TemplateFor("#!"), "%script% %params%");

  for (const char* bad : {"%script%", "%SCRIPT%", " %script% ", "/bin/sh"}) {
    int exit_code = 0;
    const Options options =
        Parse(std::string("script ") + path + " --template '" + bad + "'", &exit_code);
    EXPECT_THROW((void)options.command->build(options.arguments), std::invalid_argument) << bad;
  }
}

TEST(RequestLinesTest, UpgradeNeverAsksWithASizeTheAgentRefuses) {
  const auto program = [](size_t size) { return Scratch("\177ELF" + std::string(size - 4, 'x')); };
  const std::string text = Scratch(std::string(200, 'x'));
  for (const std::string& bad : {program(100), program(10485760), text}) {
    int exit_code = 0;
    const Options options = Parse("upgrade " + bad, &exit_code);
    EXPECT_THROW((void)options.command->build(options.arguments), std::invalid_argument);
  }
  EXPECT_EQ(PlanFor("upgrade " + program(101)).text, "UpgradeCode\n101\n\r");
  EXPECT_EQ(PlanFor("upgrade " + program(10485759)).text, "UpgradeCode\n10485759\n\r");
  EXPECT_EQ(PlanFor("upgrade --force " + text).text, "UpgradeCode\n200\n\r");
}

TEST(RequestLinesTest, AllowsTheAgentItsOwnTime) {
  const auto seconds = [](const std::string& line) {
    const std::optional<Milliseconds> time = PlanFor(line).agent_time;
    return time ? time->count() / 1000 : -1;
  };
  EXPECT_EQ(seconds("disk /"), -1);
  EXPECT_EQ(seconds("tcp h 1 --limit 7"), 7);
  EXPECT_EQ(seconds("tcp h 1 --limit 7 --receive 1"), 14);
  EXPECT_EQ(seconds("udp h 1 x --limit 4 --attempts 5"), 20);
  EXPECT_EQ(seconds("run --limit 60 x"), 62);
  EXPECT_GE(seconds("run --limit 0 x"), 3600);
}

// The agent's own splitter is the judge of what a quoted word means.
TEST(CommandLineTest, AgentSplitsJoinedWordsBackIntoThem) {
  const std::vector<std::vector<std::string>> cases = {
      {"sh", "-c", "echo 'a b'"},
      {"x", "", "y"},
      {"x", "it's", "\"quoted\""},
      {"x", "a\tb", "'lead"},
      {"x", "say \"hi\" now"},
      {"x", "mid'quote", "end\""},
      {"x", " "},
      {"x", "--", "-y"},
  };
  for (const std::vector<std::string>& words : cases) {
    const std::string line = JoinCommandLine(words);
    SCOPED_TRACE(line);
    const CommandWords split{std::string_view(line)};
    ASSERT_EQ(split.Count(), words.size());
    for (size_t i = 0; i < words.size(); ++i) EXPECT_EQ(words[i], split.Vector()[i]);
  }
  EXPECT_THROW((void)JoinCommandLine({"x", "both ' and \" here"}), std::invalid_argument);
  EXPECT_EQ(JoinCommandLine({"as it 'stands\""}), "as it 'stands\"");
  EXPECT_THROW(CheckCommandLine("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24"),
               std::invalid_argument);
}

TEST(EscapesTest, DecodesWhatPeopleType) {
  EXPECT_EQ(DecodeEscapes("a\\r\\n\\t\\\\\\x00z"), std::string("a\r\n\t\\\0z", 7));
  for (const char* bad : {"\\", "\\q", "\\x", "\\x1", "\\xg1", "\\x-1"}) {
    EXPECT_THROW((void)DecodeEscapes(bad), std::invalid_argument) << bad;
  }
}

}  // namespace
}  // namespace zem::client
