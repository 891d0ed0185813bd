// SPDX-License-Identifier: BSD-2-Clause
// The real client asks the real agent: every subcommand, every form of output.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>

#include "checks/system/loopback.h"
#include "e2e/agent_process.h"

namespace zem::test {
namespace {

struct Answer {
  int status = -1;
  std::string text;  // both output streams
};

Answer Shell(const std::string& command) {
  Answer answer;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return answer;
  char buffer[4096];
  size_t got = 0;
  while ((got = fread(buffer, 1, sizeof(buffer), pipe)) > 0) answer.text.append(buffer, got);
  const int status = pclose(pipe);
  answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return answer;
}

// Presses Ctrl-C once the program has written `until`, into a pipe or on a terminal.
Answer Interrupted(const std::string& command, const std::string& until, bool on_terminal) {
  int ends[2] = {-1, -1};
  if (on_terminal) {
    ends[0] = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_TRUE(grantpt(ends[0]) == 0 && unlockpt(ends[0]) == 0);
    ends[1] = open(ptsname(ends[0]), O_RDWR | O_NOCTTY);
  } else {
    EXPECT_EQ(pipe(ends), 0);
  }
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    signal(SIGINT, SIG_DFL);
    execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
    _exit(127);
  }
  close(ends[1]);
  Answer answer;
  bool pressed = false;
  for (char byte = 0; read(ends[0], &byte, 1) == 1;) {
    answer.text += byte;
    if (!pressed && answer.text.ends_with(until)) pressed = kill(child, SIGINT) == 0;
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return answer;
}

class Zemctl : public testing::Test {
 protected:
  static constexpr const char* kEverythingOn =
      "filteractive=1\nexecuteaction=1\ntcpudpaction=1\nsyslogaction=1\ndelayforscripts=0\n";

  void Start(const std::string& config = kEverythingOn, const std::string& program = {}) {
    // Quick ones: the shipped scripts have tests of their own.
    const auto script = [this](const std::string& name, const std::string& body) {
      WriteFile(scripts_ / name, "#!/bin/sh\n" + body + "\n");
      chmod((scripts_ / name).c_str(), 0755);
      return scripts_ / name;
    };
    const std::string scripts =
        "proccntscript=" + script("count", "case $1 in here) echo 2;; *) echo 0;; esac") +
        "\nproclistscript=" + script("list", "printf 'here\\nthere\\n'") +
        "\ncpuusagescript=" + script("cpu", "echo 12.5") + "\n";
    agent_.emplace(AgentProcess::Options{.config = config + scripts, .zempath = program});
    ASSERT_TRUE(agent_->Answers());
    WriteFile(agent_->Dir() / "ten", "0123456789");
    WriteFile(agent_->Dir() / "copy", "0123456789");
    WriteFile(agent_->Dir() / "digits", "123456789");
    WriteFile(agent_->Dir() / "none", "");
    WriteFile(agent_->Dir() / "script",
              "#!/bin/sh\necho first $1\necho \"scriptres: 42 $2\"\necho last\n");
    mkdir((agent_->Dir() / "folder").c_str(), 0700);
    WriteFile(agent_->Dir() / "folder/a.log", "abc");
    WriteFile(agent_->Dir() / "folder/b.txt", "abcd");
  }

  std::string Complete(const std::string& text) const {
    return Replaced(Replaced(text, "$D", agent_->Dir().Path()), "$P",
                    std::to_string(agent_->Port()));
  }
  static std::string Program(const std::string& name) {
    const std::string agent = ProgramPath();
    return agent.substr(0, agent.rfind('/') + 1) + name;
  }
  Answer Run(const std::string& arguments, const std::string& name = "zemctl") const {
    return Shell(Program(name) + " --agent-config " + agent_->ConfigPath() + " " +
                 Complete(arguments));
  }

  TempDir scripts_;
  std::optional<AgentProcess> agent_;
};

TEST_F(Zemctl, EverySubcommandInEveryForm) {
  Start();
  struct Case {
    const char* typed;
    int status;
    const char* table;  // part of what a person reads
    const char* json;   // part of the result, as compact JSON; empty for failures
  };
  const Case cases[] = {
      {"info", 0, "OV Zem Agent", "\"version\":\"1.32\""},
      {"ping", 0, "round trip", "\"version\":\"1.32\""},
      {"disk /", 0, "available", "\"path\":\"/\""},
      {"disk $D/nowhere", 1, "301 No such file", ""},
      {"du $D/folder", 0, "7 B", "\"size_bytes\":7"},
      {"du $D/nowhere/x", 1, "301 Folder/File doesn`t exist", ""},
      {"count $D/folder", 0, "count   2", "\"count\":2"},
      {"count $D/folder '*.log'", 0, "count   1", "\"count\":1"},
      {"count $D/folder --older 60", 0, "count   0", "\"count\":0"},
      {"exists $D/ten", 0, "10 B", "\"size_bytes\":10"},
      {"exists '$D/folder/%newestfile%' --macros", 0, "folder/", "\"age_min\":0"},
      {"exists $D/nowhere", 1, "no such file or acess denied", ""},
      {"hash $D/digits --alg crc32", 0, "873187033", "\"hash\":\"873187033\""},
      {"hash $D/none", 1, "multiple of 20480", ""},
      {"compare $D/ten $D/copy", 0, "yes", "{\"equal\":true}"},
      {"contains $D/ten $D/digits", 0, "yes", "{\"found\":true}"},
      {"grep $D/ten 345", 0, "yes", "{\"found\":true}"},
      {"ls $D/folder '*.txt' --files", 0, "b.txt", "\"name\":\"b.txt\",\"type\":\"file\""},
      {"proc here", 0, "count  2", "\"count\":2"},
      {"procs", 0, "last line doubled  yes", "\"processes\":[\"here\",\"there\"]"},
      {"cpu", 0, "12.5 %", "\"usage_percent\":12.5"},
      {"tcp 127.0.0.1 $P", 0, "time", "\"received\":null"},
      {"tcp 127.0.0.1 1 --limit 2", 1, "refused or unreachable", ""},
      {"udp 127.0.0.1 9 x --receive 0", 0, "time", "\"received_bytes\":"},
      {"run sh -c 'exit 7'", 0, "exit code  7", "{\"exit_code\":7,\"waited\":true}"},
      {"run /nonexistent", 1, "exec error: No such file", ""},
      {"script $D/script --lines 1 -- 'a b' c", 0, "42 c",
       "{\"result\":\"42 c\",\"marked\":true,\"exit_code\":0,\"lines\":[\"first a b\"]}"},
      {"exec --dir $D 'touch touched'", 0, "exit code  0", "\"exit_code\":0"},
      {"syslog 127.0.0.1 hello --server-port 9", 0, "has been sent", "\"message\":"},
      {"send 127.0.0.1 9 hello --udp", 0, "Data has been sent", "\"message\":"},
      {"settings get", 0, "IPFilterAddr   127.0.0.1", "\"Password\":\"********\""},
      {"settings set Timeout=4321 udp=off", 0, "changed  Timeout, UDP", "[\"Timeout\",\"UDP\"]"},
      {"reload", 0, "Ok", "\"message\":\"Ok\""},
      {"raw TEST-FileExists $D/ten", 0, "10", "\"lines\":"},
      {"raw SetSettings Comment=x", 0, "done", "{\"lines\":[]}"},
      {"raw TEST-Ping", 6, "500 not implemented yet", ""},
      {"raw Nonsense", 6, "500 unknown", ""},
      {"raw GetInfo --no-end-mark", 6, "502", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.typed);
    const Answer table = Run(c.typed);
    EXPECT_EQ(table.status, c.status) << table.text;
    EXPECT_NE(table.text.find(c.table), std::string::npos) << table.text;

    const Answer json = Run(std::string("-o json ") + c.typed);
    EXPECT_EQ(json.status, c.status);
    const size_t brace = json.text.find('{');  // behind a warning
    ASSERT_NE(brace, std::string::npos) << json.text;
    const auto object = nlohmann::ordered_json::parse(json.text.substr(brace), nullptr, false);
    ASSERT_TRUE(object.is_object()) << json.text;
    EXPECT_EQ(object["ok"], c.status == 0);
    EXPECT_EQ(object["result"].is_null(), c.status != 0);
    EXPECT_EQ(object["error"].is_null(), c.status == 0);
    EXPECT_NE(object["result"].dump().find(c.json), std::string::npos) << object["result"];

    const Answer raw = Run(std::string("-o raw ") + c.typed);
    EXPECT_EQ(raw.status, c.status);
    EXPECT_EQ(raw.text.find("OV Zem") != std::string::npos,
              std::string_view(c.typed) == "info" || std::string_view(c.typed) == "ping" ||
                  std::string_view(c.typed) == "settings get");
  }
  EXPECT_TRUE(FileExists(agent_->Dir() / "touched"));
  EXPECT_NE(ReadFile(agent_->ConfigPath()).find("timeout=4321"), std::string::npos);
}

TEST_F(Zemctl, SwitchedOffIsExitFiveWithTheKey) {
  Start(
      "unc=0\nfoldersize=0\ncountfiles=0\nfileexists=0\nfilecrc=0\ncomparefiles=0\ntextlog=0\n"
      "allowmanage=0\nallowupdates=0\n");
  const std::pair<const char*, const char*> cases[] = {
      {"disk /", "unc=1"},
      {"ls /", "one of foldersize"},
      {"exec x", "executeaction=1"},
      {"settings get", "allowmanage=1"},
      {"upgrade $D/script --force", "allowupdates=1"},
  };
  WriteFile(agent_->Dir() / "script", "#!/bin/sh\n" + std::string(200, '#'));
  for (const auto& [typed, key] : cases) {
    SCOPED_TRACE(typed);
    const Answer answer = Run(typed);
    EXPECT_EQ(answer.status, 5) << answer.text;
    EXPECT_TRUE(Holds(answer.text, key)) << answer.text;
  }
}

TEST_F(Zemctl, ChecksAnswerInOneLineAndAState) {
  Start();
  struct Case {
    const char* typed;
    int state;
    const char* text;
  };
  const Case cases[] = {
      {"disk / -w 0% -c 0%", 0, "/ "},
      {"count $D/folder -w 1", 1, "2 files"},
      {"disk $D/nowhere", 2, "DISK CRITICAL - $D/nowhere: no such file\n"},
      {"du $D/nowhere", 3, "$D/nowhere: no such folder"},
      {"compare $D/ten $D/digits", 2, "$D/ten, $D/digits: the files differ\n"},
      {"ls $D/nowhere -w 30", 3, "$D/nowhere: no such folder"},
      {"ls $D/folder '*.log' -w 0", 1, "1 entries in"},
      {"tcp 127.0.0.1 1 --limit 2", 2, "127.0.0.1:1: refused or unreachable\n"},
      {"contains $D/ten $D/large", 3, "larger than 8 MiB, too"},
  };
  WriteFile(agent_->Dir() / "large", "");
  ASSERT_EQ(truncate((agent_->Dir() / "large").c_str(), 8388609), 0);
  for (const auto& [typed, state, text] : cases) {
    SCOPED_TRACE(typed);
    const Answer answer = Run(typed, "check_zem");
    EXPECT_EQ(answer.status, state) << answer.text;
    static constexpr const char* kNames[] = {" OK - ", " WARNING - ", " CRITICAL - ",
                                             " UNKNOWN - "};
    EXPECT_NE(answer.text.find(kNames[state]), std::string::npos) << answer.text;
    EXPECT_TRUE(Holds(answer.text, Complete(text).c_str())) << answer.text;
    EXPECT_EQ(answer.text.find('\n'), answer.text.size() - 1) << answer.text;
  }
  EXPECT_EQ(Run("disk / >/dev/full", "check_zem").status, 3);
}

TEST_F(Zemctl, SaysWhyNoReplyCame) {
  if (LacksLoopbackNet()) GTEST_SKIP() << LacksLoopbackNet();
  Start();
  const std::string plain = Program("zemctl") + " -p " + std::to_string(agent_->Port());
  const Answer wrong = Shell("ZEM_PASSWORD=wrong " + plain + " ping");
  EXPECT_EQ(wrong.status, 4);
  EXPECT_NE(wrong.text.find("wrong password"), std::string::npos) << wrong.text;
  const Answer filtered = Shell("ZEM_PASSWORD=x " + plain + " --source 127.0.0.99 ping");
  EXPECT_EQ(filtered.status, 4);
  EXPECT_NE(filtered.text.find("filterlist"), std::string::npos) << filtered.text;
}

TEST_F(Zemctl, ShowsManyHostsAsTheyAnswerAndWhatThereIsWhenInterrupted) {
  Start();
  const Bound refusing(SOCK_STREAM);
  const Bound silent(SOCK_STREAM);
  ASSERT_EQ(listen(silent.Fd(), 1), 0);
  const std::string command = "env TERM=xterm COLUMNS=40 NO_COLOR=1 " + Program("zemctl") +
                              " --agent-config " + agent_->ConfigPath() + " --watch 1 -t 20 -H " +
                              Complete("127.0.0.1:$P,127.0.0.1:") + refusing.PortText() +
                              ",127.0.0.1:" + silent.PortText() + " exists /etc/passwd";
  const Answer piped = Interrupted(command, "refused", false);
  const Answer shown = Interrupted(command, "2 of 3", true);
  const std::string table = shown.text.substr(shown.text.rfind("\033[") + 1);
  for (const auto& [answer, text] : {std::pair(piped, piped.text), std::pair(shown, table)}) {
    EXPECT_EQ(answer.status, 130);
    EXPECT_NE(text.find("1 ok, 1 refused, 1 unanswered"), std::string::npos) << text;
  }
  EXPECT_LT(piped.text.find("  ok  "), piped.text.find("  refused  "));  // as they were named
  EXPECT_GT(table.find("  ok  "), table.find("  refused  ")) << table;   // the failures first
  EXPECT_NE(table.find("\n  nothing listens on"), std::string::npos) << table;
}

TEST_F(Zemctl, RestartsUpgradesAndEndsTheAgent) {
  const TempDir own;
  const std::string program = own / "zem";  // a copy that may be replaced
  WriteFile(program, ReadFile(ProgramPath()));
  chmod(program.c_str(), 0755);
  Start("", program);
  const Answer restarted = Run("restart --wait");
  EXPECT_EQ(restarted.status, 0) << restarted.text;
  EXPECT_NE(restarted.text.find("version 1.32 answers after"), std::string::npos);

  const std::string next = ReadFile(ProgramPath()) + "another build";
  if (next.size() < 0xA00000) {  // an instrumented program is too large
    WriteFile(own / "next", next);
    const Answer upgraded = Run("upgrade --wait " + (own / "next"));
    EXPECT_EQ(upgraded.status, 0) << upgraded.text;
    EXPECT_NE(upgraded.text.find("version 1.32 answers after"), std::string::npos);
    EXPECT_TRUE(ReadFile(program) == next);
  }
  EXPECT_EQ(Run("quit").status, 0);
  EXPECT_TRUE(Eventually([&] { return Run("ping").status == 3; }));
}

TEST_F(Zemctl, PasswordsReachNobodyElse) {
  Start();
  const Answer set = Run("settings set Password=x");
  EXPECT_EQ(set.status, 2);
  WriteFile(agent_->Dir() / "new", "another password\n");
  chmod((agent_->Dir() / "new").c_str(), 0600);
  EXPECT_EQ(Run("settings set --new-password-file $D/new").status, 0);
  // The file has the new one now, and so has the agent.
  EXPECT_NE(ReadFile(agent_->ConfigPath()).find("password=another password"), std::string::npos);
  EXPECT_EQ(Run("ping").status, 0);
  EXPECT_EQ(Run("settings set 'Comment=Password=x'").status, 0);  // another line than it looks
  for (const char* form : {"table", "json", "raw"}) {
    const std::string get = std::string("-o ") + form + " settings get";
    EXPECT_EQ(Run(get).text.find("another"), std::string::npos) << form;
    const Answer shown = Run(get + " --show-password");
    EXPECT_NE(shown.text.find("another password"), std::string::npos) << form;
    EXPECT_NE(shown.text.find("Password=x"), std::string::npos) << form;
  }
}

}  // namespace
}  // namespace zem::test
