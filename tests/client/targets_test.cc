// SPDX-License-Identifier: BSD-2-Clause
// Where host, port and password come from.
#include "app/targets.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "app/hosts_conf.h"
#include "client/client_run.h"
#include "plain_user.h"
#include "temp_dir.h"

namespace zem::client {
namespace {

using test::Parse;
using test::RunClient;
using test::Scratch;

// No source of the person who runs the tests: neither his home nor his environment.
class TargetsTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"XDG_CONFIG_HOME", "CREDENTIALS_DIRECTORY", "ZEM_PASSWORD"}) {
      unsetenv(name);
    }
    setenv("HOME", home_.Path().c_str(), 1);
  }

  std::vector<Target> Targets(const std::string& line) const {
    int exit_code = 0;
    std::string printed;
    Options options = Parse(line + " ping", &exit_code, &printed);
    options.shared_hosts_conf = home_ / "shared.conf";
    EXPECT_EQ(exit_code, -1) << printed;
    return FindTargets(options);
  }
  std::string PasswordFor(const std::string& line) const {
    return std::string(Targets(line).front().password.View());
  }
  std::string Write(const std::string& name, const std::string& text) const {
    const std::string path = home_ / name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::rename(Scratch(text), path);
    return path;
  }

  TempDir home_;
};

TEST_F(TargetsTest, PasswordSourcesComeInTheirOrder) {
  const std::string file = Scratch("from file\nsecond line\n");
  const std::string agent = Scratch("Password = from agent \r\nport=1\n");
  EXPECT_THROW((void)Targets("--plugin"), std::runtime_error);  // no prompt in a check

  Write("shared.conf", "[a]\npassword = all a\n[*]\npassword = of all\nport = 7\n");
  Write(".config/zem/hosts.conf", "[1*]\npassword-file = " + file + "\n");
  EXPECT_EQ(PasswordFor("-H a"), "all a");
  EXPECT_EQ(PasswordFor(""), "from file");
  EXPECT_EQ(Targets("").front().endpoint.port, 7);
  unsetenv("HOME");
  EXPECT_EQ(PasswordFor(""), "of all");
  setenv("HOME", home_.Path().c_str(), 1);
  Write(".config/zem/hosts.conf", "[*]\npassword = from conf\n");
  EXPECT_EQ(PasswordFor(""), "from conf");
  setenv("ZEM_PASSWORD", "", 1);
  EXPECT_EQ(PasswordFor(""), "from conf");
  setenv("ZEM_PASSWORD", "from environment", 1);
  EXPECT_EQ(PasswordFor(""), "from environment");
  EXPECT_EQ(getenv("ZEM_PASSWORD"), nullptr);  // no child inherits it
  Write("credentials/zem-password", "from credentials\n");
  setenv("CREDENTIALS_DIRECTORY", (home_ / "credentials").c_str(), 1);
  setenv("ZEM_PASSWORD", "from environment", 1);
  EXPECT_EQ(PasswordFor(""), "from credentials");
  EXPECT_EQ(PasswordFor("--agent-config " + agent), "from agent");
  EXPECT_EQ(PasswordFor("--agent-config " + agent + " --password-file " + file), "from file");
  EXPECT_EQ(PasswordFor("--no-password"), "");
}

TEST_F(TargetsTest, FilesThatOthersHaveAHandInAreRefused) {
  if (geteuid() == 0) {  // who may give a file to a group
    EXPECT_EQ(PasswordFor("--password-file " + Scratch("secret\n", 0640)), "secret");
    EXPECT_THROW((void)Targets("--password-file " + Scratch("secret\n", 0644)), std::runtime_error);
  }
  for (const unsigned mode : {0640U, 0604U, 0620U, 0602U}) {
    const std::string file = Scratch("secret\n", mode);
    (void)!chown(file.c_str(), geteuid() == 0 ? 65534 : geteuid(), getegid());
    const AsOrdinaryUser user;
    EXPECT_THROW((void)Targets("--password-file " + file), std::runtime_error) << mode;
    EXPECT_THROW((void)Targets("--hosts-conf " + file), std::runtime_error) << mode;
  }
  const std::string foreign = Scratch("secret\n");
  if (chown(foreign.c_str(), 65534, 65534) == 0) {  // root alone may
    EXPECT_THROW((void)Targets("--password-file " + foreign), std::runtime_error);
  }
  EXPECT_EQ(PasswordFor("--password-file " + Scratch("secret\r\n", 0400)), "secret");
  EXPECT_THROW((void)Targets("--password-file " + Scratch("\nsecret\n")), std::runtime_error);
  // Brackets mean something to the parser of the command line; a file may have them all the same.
  EXPECT_NE(RunClient("--password-file [x] ping").err.find("cannot read [x]:"), std::string::npos);
}

TEST_F(TargetsTest, PasswordOnTheCommandLineIsRefusedWithAnExplanation) {
  for (const char* option :
       {"--password x", "--password=x", "--pass x", "--passwd=x", "-Px", "-P x", "--secret x"}) {
    SCOPED_TRACE(option);
    const test::ClientRun run = RunClient(std::string(option) + " ping");
    EXPECT_EQ(run.exit_code, kExitUsage);
    EXPECT_NE(run.err.find("--password-file FILE"), std::string::npos);
    EXPECT_EQ(run.err.find("x would"), std::string::npos);
    EXPECT_EQ(RunClient("check_zem " + std::string(option) + " ping").exit_code, 3);
  }
  for (const char* data : {"raw X -- --password", "run mount -Px --password=x"}) {
    int exit_code = 0;
    (void)Parse(data, &exit_code);
    EXPECT_EQ(exit_code, -1) << data;
  }
}

TEST_F(TargetsTest, HostAndPort) {
  const std::string agent = Scratch("port=2000\nport=3000\nhost=127.0.0.7\npassword=p\n");
  const std::string conf = Scratch(
      "# comment\n[web]\naddress = 10.0.0.5\nport = 77\nsource = 10.0.0.9\npassword=w\n"
      "[db?]\nport=88\n[@web]\nhosts = web, db1:5\n hosts=,db1:5\n[@none]\nhosts = ,\n"
      "[*]\npassword = all\nport = 99\n");
  struct Case {
    std::string line;
    const char* endpoint;
    const char* password;
  };
  const Case cases[] = {
      {"--no-password", "127.0.0.1:1055", ""},
      {"--no-password -H a:7 -p 8", "a:7", ""},
      {"--no-password -H a -p 8", "a:8", ""},
      {"--no-password -H ::1 -p 8", "[::1]:8", ""},
      {"--no-password -H [::1]:9", "[::1]:9", ""},
      {"--no-password -H [fe80::1]", "[fe80::1]:1055", ""},
      {"--agent-config " + agent, "127.0.0.7:2000", "p"},
      {"--agent-config " + agent + " -H b", "b:2000", "p"},
      {"--agent-config " + agent + " -p 5", "127.0.0.7:5", "p"},
      {"--hosts-conf " + conf + " -H web", "10.0.0.5:77", "w"},
      {"--hosts-conf " + conf + " -H web:1", "10.0.0.5:1", "w"},
      {"--hosts-conf " + conf + " -H db1", "db1:88", "all"},
      {"--hosts-conf " + conf + " -H db10", "db10:99", "all"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    const Target target = std::move(Targets(c.line).front());
    EXPECT_EQ(Display(target.endpoint), c.endpoint);
    EXPECT_EQ(target.password.View(), c.password);
  }
  EXPECT_EQ(Targets("--hosts-conf " + conf + " -H web").front().endpoint.source, "10.0.0.9");
  EXPECT_EQ(Targets("--no-password -H 'a,b, ,c' --hosts " + Scratch("#x\n d #y\n\ne:5\n")).size(),
            5U);
  const std::string hosts = Scratch("a\n\nb c\n");
  EXPECT_EQ(Targets("--no-password --hosts " + hosts).back().error,
            hosts + " line 3, \"b c\": not HOST or HOST:PORT");
  // A host of two groups is asked once; a group that stands for nobody must not become this host.
  const std::vector<Target> group =
      Targets("--hosts-conf " + conf + " -H @web --hosts " + Scratch("a\n@web\n@none\n"));
  ASSERT_EQ(group.size(), 4U);
  EXPECT_EQ(Display(group[0].endpoint), "10.0.0.5:77");
  EXPECT_EQ(Display(group[1].endpoint), "db1:5");
  EXPECT_NE(group[3].error.find(" line 3, hosts.conf has no hosts"), std::string::npos);
  // Of whom a group alone speaks is in the list too, and nobody's password is.
  std::string listed = RunClient("hosts --prometheus-sd " + conf).out;
  std::erase_if(listed, [](char byte) { return isspace(byte) != 0; });
  EXPECT_EQ(listed, R"([{"targets":["10.0.0.5:77"],"labels":{"alias":"web","groups":",web,"}},)"
                    R"({"targets":["db1:5"],"labels":{"alias":"db1:5","groups":",web,"}}])");
  for (const char* none : {"@none", "@nobody", "@", "web,@none"}) {
    EXPECT_THROW((void)Targets("--hosts-conf " + conf + " -H " + none), std::runtime_error) << none;
  }
  for (const char* bad : {"a:0", "a:65536", "a:x", ":5", "[::1", "[::1]x"}) {
    // One of many must not stop the others.
    const std::vector<Target> targets = Targets(std::string("--no-password -H b,") + bad);
    EXPECT_EQ(targets.front().error, "");
    EXPECT_TRUE(targets.back().error.starts_with(std::string("\"") + bad + "\": ")) << bad;
  }
  EXPECT_THROW((void)Targets("--no-password -H a:0"), std::runtime_error);
  EXPECT_THROW((void)Targets("--agent-config " + Scratch("port=2000\n")), std::runtime_error);
  EXPECT_THROW((void)Targets("--no-password -H a --hosts " + Scratch("#x\n")), std::runtime_error);
}

TEST_F(TargetsTest, FaultyHostsConfNamesItsLine) {
  for (const char* text : {"[a]\nport = x\n", "[a]\nnokey\n", "[a]\nprot = 5\n", "\nport = 5\n",
                           "[a]\nhosts = b\n", "[@a]\nport = 5\n", "[@a]\nhosts = b, @c\n"}) {
    try {
      (void)HostsConf::Parse(text, "the file");
      ADD_FAILURE() << text;
    } catch (const std::runtime_error& error) {
      const std::string line = "line 2";
      EXPECT_NE(std::string(error.what()).find("the file " + line), std::string::npos);
    }
  }
}

TEST(OptionsTest, UsageErrorsHaveTheirExitCodesAndNameTheWord) {
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"subcommand", {"", "settings"}},
      {"\"nonsense\"", {"nonsense", "settings nonsense", "nonsense x"}},
      {"--nonsense", {"--nonsense", "--nonsense x ping", "ping --nonsense"}},
      {"/x", {"ping /x", "disk / /x"}},
      {"PATH", {"disk"}},
      {"-t", {"-t 0 ping", "-t 0.0001 ping", "-t 5:BAD ping", "-t x ping"}},
      {"port", {"-p 0 ping", "-p 65536 ping"}},
      {"names no host", {"-H , ping"}},
      {"standard input", {"--hosts - --password-file - ping"}},
      {"is empty",
       {"-H '' ping", "-p '' ping", "disk -- ''", "hash /x --expect ''", "count /x ''",
        "udp h 53 ''"}},
      {"needs a value", {"ping -p", "-H", "hash --alg"}},
      {"takes no value", {"--quiet=no disk /", "contains --invert=no /a /b"}},
      {"may be given once", {"-H a ping -H b", "hash /x --alg md5 --alg md5"}},
      {"\"--warning\"?", {"disk --warnin 5 /", "--war 5 ping"}},
      {"\"disk\"?", {"dsik /"}},
      {"belongs behind", {"--show-password settings get", "-r du /"}},
      {"PLUGIN", {"plugin"}},
      {"wrong way round",
       {"--plugin disk / -w 10% -c 20%", "--plugin cpu -w 90 -c 80",
        "--plugin check --from " ZEM_CHECKS_SOURCE " load -w 5"}},
      {"\"-H\" stands", {"--plugin run x -H y", "plugin x -w 1 -H y"}},
      {"xml", {"-o xml ping"}},
      {"parallel", {"--parallel 0 ping"}},
      {"check_zem", {"-w 5 ping"}},
      {"no check", {"--plugin reload"}},
      {"5x", {"--plugin disk / -w 5x"}},
      {"takes no -w", {"--plugin hash /x -w 5", "--plugin grep /x y -c 5"}},
      {"x\\x1b[2J", {"x\x1b[2J"}},
  };
  for (const auto& [word, lines] : cases) {
    for (const std::string line : lines) {
      SCOPED_TRACE(line);
      std::string printed;
      int exit_code = 0;
      (void)Parse(line, &exit_code, &printed);
      const bool check = line.find("plugin") != std::string::npos;
      EXPECT_EQ(exit_code, check ? 3 : kExitUsage);
      EXPECT_NE(printed.find(word), std::string::npos) << printed;
      if (line == "-w 5 ping") continue;  // right for a check
      (void)Parse("check_zem " + line, &exit_code, &printed);
      EXPECT_EQ(exit_code, 3);
      EXPECT_TRUE(printed.starts_with("ZEM UNKNOWN - ")) << printed;
    }
  }
  for (const char* line : {"--help", "-V", "run --help", "check_zem -h"}) {
    int exit_code = -1;
    (void)Parse(line, &exit_code);
    EXPECT_EQ(exit_code, 0) << line;
  }
}

}  // namespace
}  // namespace zem::client
