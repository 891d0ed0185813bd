// SPDX-License-Identifier: BSD-2-Clause
// What configcheck finds, and what scripttest says of scripts that misbehave.
#include "local/findings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "client/client_run.h"
#include "core/config_file.h"

namespace zem::client {
namespace {

using test::ClientRun;
using test::RunClient;
using test::Scratch;

bool Mentions(const Findings& findings, Severity severity, int line, const std::string& text) {
  return std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
    return finding.severity == severity && finding.line == line &&
           (finding.key + ": " + finding.text).find(text) != std::string::npos;
  });
}

TEST(FindingsTest, Lines) {
  struct Case {
    const char* line;
    Severity severity;
    const char* text;  // empty = nothing may be found
  };
  const Case cases[] = {
      {"tcp=1", Severity::kNote, ""},
      {"TCP = 0 \r", Severity::kNote, ""},
      {"# a comment", Severity::kNote, ""},
      {"; another", Severity::kNote, ""},
      {"  \t", Severity::kNote, ""},
      {"freespace=1", Severity::kNote, ""},
      {"timeout=-1", Severity::kNote, ""},
      {" # indented = x", Severity::kNote, "first column"},
      {"prot=1055", Severity::kWarning, "did you mean \"port\"?"},
      {"zzzzzz=1", Severity::kWarning, "zzzzzz: unknown key: the line is ignored"},
      {"just words", Severity::kWarning, "no \"=\""},
      {"tcp=yes", Severity::kWarning, "\"yes\" is off"},
      {"udp = True", Severity::kWarning, "\"True\" is off"},
      {"filteractive=on", Severity::kWarning, "\"on\" is off"},
      {"tcp=", Severity::kWarning, "no value: the switch is off"},
      {"tcp=1abc", Severity::kNote, "only the first character"},
      {"tcp=no", Severity::kNote, ""},
      {"port=10s55", Severity::kWarning, "not a decimal number"},
      {"timeout=5s", Severity::kWarning, "not a decimal number"},
      {"password=\"secret\"", Severity::kWarning, "the quotes are part"},
      {"comment=a # b", Severity::kWarning, "comment behind a value"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    Findings findings;
    InspectLines(std::string(c.line) + '\n', &findings);
    if (*c.text == '\0') {
      EXPECT_TRUE(findings.empty()) << findings.front().text;
    } else {
      EXPECT_TRUE(Mentions(findings, c.severity, 1, c.text));
    }
  }
  Findings findings;
  InspectLines("tcp=1\nport=1\n\ntcp=0\nport=2\ncomment=" + std::string(1020, 'x') + "\n",
               &findings);
  EXPECT_TRUE(Mentions(findings, Severity::kWarning, 4, "line 1 already; this one wins"));
  EXPECT_TRUE(Mentions(findings, Severity::kWarning, 5, "line 2 already; the first one stays"));
  EXPECT_TRUE(Mentions(findings, Severity::kWarning, 6, "longer than 1023"));
}

Findings InspectText(const std::string& text) {
  Settings settings;
  settings.config_path = Scratch(text);
  OvString error;
  (void)LoadSettings(&settings, &error);  // what it says is not the question here
  Findings findings;
  InspectSettings(settings, &findings);
  return findings;
}

TEST(FindingsTest, SettingsTogether) {
  const std::pair<const char*, const char*> cases[] = {
      {"filteractive=0\n", "filteractive: off"},
      {"filteractive=1\nfiltermarks=1\nfilterlist=10.0.0.15\n", "\"10.0.0.15\" also admits"},
      {"filteractive=1\nfiltermarks=1\nfilterlist=10.0.0.0/8\n", "no address"},
      {"filteractive=1\nfiltermarks=1\nfilterlist=1.1.1.1,2.2.2.2\n", "not by commas"},
      {"filteractive=1\nfiltermarks=1\nfilterlist=1.1.1.1 2.2.2.2\n", "2 items but 1 marks"},
      {"filteractive=1\nfiltermarks=11\nfilterlist=1.1.1.1  2.2.2.2\n", "two blanks"},
      {"filteractive=1\nfiltermarks=0\nfilterlist=1.1.1.1\n", "nobody may connect"},
      {"manageaddr=10.0.0.1, 10.0.0.2\n", "manageaddr: Illegal character"},
      {"updateaddr=10.0.0.1 10.0.0.2\n", "updateaddr: Invalid IP address"},
      {"password=short\n", "password: 5 characters"},
      {"executeaction=1\n", "executeaction: on"},
      {"host=10.1.1.1\n", "which manageaddr does not list"},
      {"host=10.1.1.1\nfilteractive=1\nfiltermarks=1\nfilterlist=1.1.1.1\n",
       "which filterlist does not list"},
  };
  for (const auto& [text, found] : cases) {
    const Findings findings = InspectText(text);
    EXPECT_TRUE(Mentions(findings, Severity::kWarning, 0, found) ||
                Mentions(findings, Severity::kNote, 0, found))
        << text;
  }
  const Findings clean = InspectText(
      "filteractive=1\nfiltermarks=1\nfilterlist=1.1.1.1\nallowupdates=0\nexternal=0\n"
      "shellscript=0\npassword=0123456789abcdef\nmanageaddr=127.0.0.1\n");
  for (const Finding& finding : clean) ADD_FAILURE() << finding.key << ": " << finding.text;
}

// The agent admits a peer whose dotted text occurs in the list.
TEST(FindingsTest, AlsoAdmittedIsEveryAddressWithinTheItem) {
  using Addresses = std::vector<std::string>;
  EXPECT_EQ(AlsoAdmitted("10.0.0.15"), Addresses({"0.0.0.1", "0.0.0.15", "10.0.0.1"}));
  EXPECT_EQ(AlsoAdmitted("110.0.0.1"), Addresses({"0.0.0.1", "10.0.0.1"}));
  EXPECT_EQ(AlsoAdmitted("1.1.1.1"), Addresses());
  EXPECT_EQ(AlsoAdmitted("x.1.2.3.4y"), Addresses({"1.2.3.4"}));
  EXPECT_EQ(AlsoAdmitted("192.168.1.100"),
            Addresses({"192.168.1.1", "192.168.1.10", "2.168.1.1", "2.168.1.10", "2.168.1.100",
                       "92.168.1.1", "92.168.1.10", "92.168.1.100"}));
}

TEST(ConfigcheckTest, ExitCodesModesAndNoTraces) {
  const std::string good =
      "zempath=/bin/sh\nport=1055\npassword=0123456789abcdef\nfilteractive=1\nfiltermarks=1\n"
      "filterlist=1.1.1.1\nlogfails=0\n";
  EXPECT_EQ(RunClient("configcheck " + Scratch(good)).exit_code, 0);
  EXPECT_EQ(RunClient("configcheck --strict " + Scratch(good)).exit_code, 0);
  const ClientRun loose = RunClient("configcheck --strict " + Scratch(good, 0644));
  EXPECT_EQ(loose.exit_code, 1);
  EXPECT_NE(loose.out.find("can be read by others: chmod 600"), std::string::npos);
  const ClientRun bad = RunClient("configcheck " + Scratch("tcp=1\n"));
  EXPECT_EQ(bad.exit_code, 2);
  EXPECT_NE(bad.out.find("error: TCP post is not specified!"), std::string::npos) << bad.out;
  EXPECT_NE(bad.out.find("their defaults are crossed"), std::string::npos);
  EXPECT_EQ(RunClient("configcheck " + Scratch(good + "port=70000\n")).exit_code, 0);
  EXPECT_EQ(RunClient("configcheck " + Scratch("port=70000\n" + good)).exit_code, 2);
  EXPECT_EQ(RunClient("configcheck /nonexistent").exit_code, 2);
  const std::pair<const char*, const char*> settings[] = {
      {"host=192.0.2.1\n", "error: host: 192.0.2.1 is no address of this machine"},
      {"host=::1\n", "error: host: ::1 cannot be resolved"},
      {"tmpdir=/tmp/a b\n", "warning: tmpdir: blanks and shell characters"},
      {"zempath=/bin/s'h\n", "warning: zempath: blanks and shell characters"},
      {"external=0\n", "note: shellscript: not in the file, so it is 1; the sample has"},
  };
  for (const auto& [line, found] : settings) {
    const ClientRun run = RunClient("configcheck " + Scratch(good + line));
    EXPECT_NE(run.out.find(found), std::string::npos) << run.out;
    EXPECT_EQ(run.exit_code == 2, *found == 'e' || *line == 'z') << run.out;
  }
  const ClientRun json = RunClient("-o json configcheck /nonexistent");
  EXPECT_NE(json.out.find("\"loads\": false"), std::string::npos);
  const std::string before = getenv("TMPDIR") == nullptr ? "(none)" : getenv("TMPDIR");
  (void)RunClient("configcheck " + Scratch("tmpdir=/usr\n"));
  EXPECT_EQ(getenv("TMPDIR") == nullptr ? "(none)" : getenv("TMPDIR"), before);
}

TEST(ScripttestTest, SaysWhatTheAgentWouldAnswer) {
  struct Case {
    const char* name;
    const char* list;
    const char* count;
    const char* cpu;
    int exit_code;
    const char* said;
  };
  constexpr const char* kList = "printf 'a-daemon\\nb'";
  constexpr const char* kCount = "case $1 in zem-no*) echo 0;; *) echo 2;; esac";
  constexpr const char* kCpu = "echo 12.5";
  const Case cases[] = {
      {"all well", kList, kCount, kCpu, 0, "2 processes named a-daemon"},
      {"doubled line", "printf 'a\\nb\\n'", kCount, kCpu, 0, "comes twice"},
      {"empty list", "true", kCount, kCpu, 1, "the list is empty"},
      {"not counted", kList, "echo 0", kCpu, 1, "not counted, although"},
      {"counts itself", kList, "echo 1", kCpu, 1, "does the script count itself?"},
      {"no number", kList, "echo none", kCpu, 1, "Script error"},
      {"warning in front", kList, "echo 2; echo oops >&2", kCpu, 1, "Script error"},
      {"silent CPU script", kList, kCount, "true", 1, "Script error"},
      {"share above 100", kList, kCount, "echo 250", 1, "not between 0 and 100"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto script = [](const char* body) {
      return Scratch(std::string("#!/bin/sh\n") + body + "\n", 0755);
    };
    const std::string config = Scratch(
        "zempath=/bin/sh\nport=1\npassword=p\ndelayforscripts=0\ntmpdir=" + testing::TempDir() +
        "\nproclistscript=" + script(c.list) + "\nproccntscript=" + script(c.count) +
        "\ncpuusagescript=" + script(c.cpu) + "\n");
    const ClientRun run = RunClient("scripttest " + config);
    EXPECT_EQ(run.exit_code, c.exit_code) << run.out << run.err;
    EXPECT_NE(run.out.find(c.said), std::string::npos) << run.out;
  }
  const std::string none = Scratch("zempath=/bin/sh\nport=1\npassword=p\n");
  setenv("ZEM_PASSWORD", "p", 1);
  EXPECT_NE(RunClient("scripttest " + none).out.find("ProcList script is not speified"),
            std::string::npos);
  EXPECT_EQ(getenv("ZEM_PASSWORD"), nullptr);  // before any script runs
}

}  // namespace
}  // namespace zem::client
