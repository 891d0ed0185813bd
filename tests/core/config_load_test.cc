// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "core/config_file.h"
#include "plain_user.h"
#include "temp_dir.h"

namespace zem {
namespace {

using std::string_view_literals::operator""sv;

constexpr const char* kFilterWarning = "FilterMarks has less items than FilterList";
constexpr const char* kNoPort = "  TCP post is not specified!\n";
constexpr const char* kNoPassword = "  Password is not specified!\n";
constexpr const char* kNoProgram = "  Full path to the agent is not specified!\n";
constexpr const char* kBadProgram = "  Invalid path to the agent!\n";

class ConfigLoadTest : public testing::Test {
 protected:
  ConfigLoadTest() {
    settings_.config_path = scratch_ / "zem.cfg";
    WriteFile(scratch_ / "zem", "");
  }

  // Loads a file with these lines into `settings_`; true as LoadSettings answers it.
  bool Load(std::string_view text) {
    WriteFile(scratch_ / "zem.cfg", text);
    error_ = "stale";
    return LoadSettings(&settings_, &error_);
  }
  // Everything a valid configuration needs, and no filter warning.
  std::string Needed() const {
    return "port=1055\npassword=p\nzempath=" + scratch_ / "zem" +
           "\nfiltermarks=1\nfilterlist=1.2.3.4\n";
  }

  TempDir scratch_;
  Settings settings_;
  OvString error_;
};

TEST_F(ConfigLoadTest, SaysWhatIsMissing) {
  const std::string filter = "filtermarks=1\nfilterlist=a\n";
  const std::string zempath = "zempath=" + scratch_ / "zem" + "\n";
  const struct {
    std::string text;
    bool loaded;
    std::string error;
  } cases[] = {
      {Needed(), true, ""},
      {"port=1\npassword=p\n" + zempath, true, kFilterWarning},
      {"", false, std::string(kFilterWarning) + kNoPort + kNoPassword + kNoProgram},
      {filter, false, std::string(kNoPort) + kNoPassword + kNoProgram},
      {filter + "port=0\npassword=\nzempath=zem\n", false,
       std::string(kNoPort) + kNoPassword + kNoProgram},
      {filter + "port=x\npassword=p\n" + zempath, false, kNoPort},
      {filter + "port=1\n" + zempath, false, kNoPassword},
      {filter + "port=1\npassword=p\n", false, kNoProgram},
      {filter + "port=1\npassword=p\nzempath=" + scratch_ / "none" + "\n", false, kBadProgram},
      {"port=1\npassword=p\nzempath=/x\n", false, std::string(kFilterWarning) + kBadProgram},
  };
  for (const auto& c : cases) {
    settings_.port = 0;
    EXPECT_EQ(Load(c.text), c.loaded) << c.text;
    EXPECT_EQ(error_, c.error) << c.text;
  }
}

TEST_F(ConfigLoadTest, AFileThatCannotBeReadPutsTheDefaultsBack) {
  const auto failed = [this](const std::string& path) {
    EXPECT_TRUE(Load(Needed() + "filteractive=1\nunc=0\nhost=h\n"));
    settings_.config_path = path;
    error_ = "stale";
    EXPECT_FALSE(LoadSettings(&settings_, &error_));
    EXPECT_EQ(settings_.password, "");
    EXPECT_FALSE(settings_.filter_active);
    EXPECT_TRUE(settings_.unc);
    EXPECT_EQ(settings_.host, "h");
    settings_.config_path = scratch_ / "zem.cfg";
    return std::string(error_.View());
  };
  EXPECT_EQ(failed(""), "Configuration file is not specified");
  for (const std::string& path : {scratch_ / "none", scratch_.Path()}) {
    EXPECT_EQ(failed(path), "Cannot open configuration file '" + path + "'");
  }
  WriteFile(scratch_ / "private", "");
  chmod((scratch_ / "private").c_str(), 0);
  EXPECT_TRUE(Load(Needed()));
  const AsOrdinaryUser ordinary;
  settings_.config_path = scratch_ / "private";
  EXPECT_FALSE(LoadSettings(&settings_, &error_));
  EXPECT_EQ(error_, "Cannot open configuration file '" + scratch_ / "private" + "'");
}

TEST_F(ConfigLoadTest, LinesAreKeyEqualsValue) {
  const std::string x1014(1014, 'x');
  const struct {
    std::string_view text, comment;
  } cases[] = {
      {"comment=a\n", "a"},
      {"COMMENT\t =\t a b \t\r\n", "a b"},
      {" \tcomment=a", "a"},
      {"#comment=a\n;comment=b\n", ""},
      {" #comment=a\n", ""},
      {"comment a\n", ""},
      {"comment=a=b\n", "a=b"},
      {"comment=#a;b\n", "#a;b"},
      {"comment=a\nComment=b\n", "b"},
      {"comment=a\ncomment=\n", ""},
      {"comments=a\ncom ment=b\n", ""},
      {"comment=\"a\"\n", "\"a\""},
      {"comment=\r\nhost=a\n", ""},
      {"comment=\va\v\n", "\va\v"},
      {"comment=a\0b\nhost=x\n"sv, "a\0b"sv},
      {"comment=\xE9\n", "\xE9"},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(Load(Needed() + std::string(c.text)));
    EXPECT_EQ(settings_.comment, c.comment) << c.text;
  }
  // A line holds 1,023 bytes, its end included; what is longer goes on as a line of its own.
  const std::string start = Needed() + "comment=";
  EXPECT_TRUE(Load(start + x1014 + "\nhost=a\n"));
  EXPECT_EQ(settings_.comment, x1014);
  EXPECT_TRUE(Load(start + x1014 + "yz\nhost=b\n"));
  EXPECT_EQ(settings_.comment, x1014 + "y");
  EXPECT_EQ(settings_.host, "b");
  EXPECT_TRUE(Load(start + x1014 + "ycomment=second\n"));
  EXPECT_EQ(settings_.comment, "second");
}

TEST_F(ConfigLoadTest, FlagsAndNumbersAreReadPlainly) {
  const std::pair<const char*, bool> flags[] = {{"1", true},    {"1abc", true}, {" 1", true},
                                                {"yes", false}, {"01", false},  {"-1", false},
                                                {"", false},    {"true", false}};
  for (const auto& [text, expected] : flags) {
    EXPECT_TRUE(Load(Needed() + "unc=" + text + "\nsyslogaction=" + text));
    EXPECT_EQ(settings_.unc, expected) << text;
    EXPECT_EQ(settings_.syslog_action, expected) << text;
  }
  const std::pair<const char*, int> timeouts[] = {
      {"5", 5},   {"12ab", 12},   {"0", 4000}, {"none", 4000},
      {"", 4000}, {"-5", -5},     {"+7", 7},   {"99999999999", 2147483647},
      {"1 2", 1}, {"0x10", 4000}, {"007", 7},  {"-99999999999", -2147483647 - 1}};
  for (const auto& [text, expected] : timeouts) {
    EXPECT_TRUE(Load(Needed() + "timeout=" + text + "\n"));
    EXPECT_EQ(settings_.timeout, expected) << text;
  }
}

TEST_F(ConfigLoadTest, ThePortIsReadOnlyWhileThereIsNone) {
  const std::string rest = Needed().substr(Needed().find('\n') + 1);
  EXPECT_TRUE(Load("port=0\nport=7\nport=8\n" + rest));
  EXPECT_EQ(settings_.port, 7);
  EXPECT_TRUE(Load("port=9\n" + rest));
  EXPECT_EQ(settings_.port, 7);
  EXPECT_TRUE(Load(rest));
  EXPECT_EQ(settings_.port, 7);
}

// Every key: what an empty configuration leaves, and whether a reload without the key keeps what
// the one before had read.
TEST_F(ConfigLoadTest, DefaultsAreResetOrKeptPerKey) {
  using S = Settings;
  enum Reload { kReset, kKept };
  const struct {
    const char *fallback, *sample;
    Reload reload;
    const char* keys;
    std::vector<SettingMember> members;  // in the same order
  } cases[] = {
      {"", "x", kKept, "host verboselogfile", {&S::host, &S::verbose_log_file}},
      {"", "x", kReset, "comment pidfile", {&S::comment, &S::pid_file}},
      {"",
       "/x",
       kKept,
       "cpuusagescript proclistscript proccntscript",
       {&S::cpu_usage_script, &S::proc_list_script, &S::proc_cnt_script}},
      {"", "/", kKept, "tmpdir", {&S::tmp_dir}},
      {"4000", "77", kKept, "timeout", {&S::timeout}},
      {"90000", "5", kReset, "delayforscripts", {&S::delay_for_scripts}},
      {"127.0.0.1",
       "x",
       kReset,
       "filtermarks updateaddr manageaddr",
       {&S::filter_marks, &S::update_addr, &S::manage_addr}},
      {"1", "x", kReset, "filterlist", {&S::filter_list}},
      {"log1.txt", "x", kReset, "oklogfile", {&S::ok_log_file}},
      {"log2.txt", "x", kReset, "badlogfile", {&S::bad_log_file}},
      {"0",
       "1",
       kReset,
       "filteractive logsuccess executeaction tcpudpaction syslogaction",
       {&S::filter_active, &S::log_success, &S::execute_action, &S::tcp_udp_action,
        &S::syslog_action}},
      {"1",
       "0",
       kReset,
       "logfails allowupdates allowmanage unc freespace foldersize countfiles fileexists",
       {&S::log_fails, &S::allow_updates, &S::allow_manage, &S::unc, &S::free_space,
        &S::folder_size, &S::count_files, &S::file_exists}},
      {"1",
       "0",
       kReset,
       "filecrc comparefiles process cpuusage script external ping tcp udp textlog shellscript",
       {&S::file_crc, &S::compare_files, &S::process, &S::cpu_usage, &S::script, &S::external,
        &S::ping, &S::tcp, &S::udp, &S::text_log, &S::shell_script}},
  };
  const std::string least = "port=1\npassword=p\nzempath=" + scratch_ / "zem" + "\n";
  for (const auto& c : cases) {
    std::istringstream keys(c.keys);
    for (const SettingMember& bound : c.members) {
      std::string key;
      keys >> key;
      SCOPED_TRACE(key);
      settings_ = Settings();
      settings_.config_path = scratch_ / "zem.cfg";
      const auto present = [&] {
        return std::visit(
            [this](auto member) {
              using Held = std::decay_t<decltype(settings_.*member)>;
              if constexpr (std::is_same_v<Held, OvString>) {
                return std::string((settings_.*member).View());
              } else {
                return std::to_string(static_cast<int>(settings_.*member));
              }
            },
            bound);
      };
      EXPECT_TRUE(Load(least));
      EXPECT_EQ(present(), c.fallback);
      EXPECT_TRUE(Load(least + key + "=" + c.sample + "\n"));
      EXPECT_EQ(present(), c.sample);
      EXPECT_TRUE(Load(least));
      EXPECT_EQ(present(), c.reload == kReset ? c.fallback : c.sample);
    }
  }
  unsetenv("TMPDIR");
}

TEST_F(ConfigLoadTest, MarksChooseTheItemsOfTheAllowList) {
  const struct {
    const char *marks, *list, *allowed, *warning;
  } cases[] = {
      {"101", "a b c", "\r\na\r\nc\r\n", ""},
      {"1", "a b", "\r\na\r\n", ""},
      {"11", "a b", "\r\na\r\nb\r\n", ""},
      {"0x", "a b", "\r\n", ""},
      {"", "a", "\r\n", ""},
      {"111", "a b", "\r\na\r\nb\r\n", kFilterWarning},
      {"111", "a  c", "\r\na\r\n", kFilterWarning},  // an empty item ends the list
      {"1", "", "\r\n", kFilterWarning},
      {"000", "a b", "\r\n", kFilterWarning},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.marks << " | " << c.list);
    EXPECT_TRUE(Load(Needed() + "filtermarks=" + c.marks + "\nfilterlist=" + c.list + "\n"));
    EXPECT_EQ(settings_.allow_list, c.allowed);
    EXPECT_EQ(error_, c.warning);
  }
  EXPECT_TRUE(Load(Needed() + "filterlist=a b c \n"));
  EXPECT_EQ(settings_.filter_list, "a\r\nb\r\nc");
}

TEST_F(ConfigLoadTest, BareScriptNamesLieBesideTheProgram) {
  const std::string beside = scratch_ / "cpu.sh";
  const std::pair<std::string, std::string> cases[] = {
      {"cpu.sh", beside}, {"/opt/cpu.sh", "/opt/cpu.sh"}, {"./cpu.sh", "./cpu.sh"}, {"", ""}};
  for (const auto& [script, expected] : cases) {
    EXPECT_TRUE(Load(Needed() + "cpuusagescript=" + script + "\nproclistscript=" + script +
                     "\nproccntscript=" + script + "\n"));
    EXPECT_EQ(settings_.cpu_usage_script, expected);
    EXPECT_EQ(settings_.proc_list_script, expected);
    EXPECT_EQ(settings_.proc_cnt_script, expected);
  }
  EXPECT_FALSE(Load(Needed() + "zempath=zem\ncpuusagescript=cpu.sh\n"));
  EXPECT_EQ(settings_.cpu_usage_script, "cpu.sh");
}

TEST_F(ConfigLoadTest, TheTemporaryDirectoryIsExported) {
  const std::string here = scratch_.Path();
  const std::string file = scratch_ / "zem";
  const std::string none = scratch_ / "none";
  const struct {
    std::string configured;
    const char *tmpdir, *tmp;
    std::string exported;
  } cases[] = {
      {here, "/usr", "/etc", here},
      {here + "/", nullptr, nullptr, here},
      {here + "//", nullptr, nullptr, here + "/"},
      {"", "/usr/", "/etc", "/usr"},
      {none, "/usr", "/etc", "/usr"},
      {file, "/usr", "/etc", "/usr"},  // a file is no directory
      {"", nullptr, "/etc", "/etc"},
      {"", none.c_str(), "/etc", "."},  // TMP counts only where TMPDIR is not set
      {"", "", "/etc", "."},
      {"", nullptr, none.c_str(), "."},
      {"", nullptr, nullptr, "."},
  };
  for (const auto& c : cases) {
    for (const auto& [name, value] : {std::pair{"TMPDIR", c.tmpdir}, std::pair{"TMP", c.tmp}}) {
      if (value == nullptr) {
        unsetenv(name);
      } else {
        setenv(name, value, 1);
      }
    }
    EXPECT_TRUE(Load(Needed() + "tmpdir=" + c.configured + "\n"));
    EXPECT_EQ(getenv("TMPDIR"), c.exported);
  }
  unsetenv("TMPDIR");
  unsetenv("TMP");
}

}  // namespace
}  // namespace zem
