// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "core/config_file.h"
#include "plain_user.h"
#include "temp_dir.h"

namespace zem {
namespace {

// What the settings of SetLive() add to a file that holds none of these keys, in this order.
constexpr const char* kAppended[] = {
    "host=",          "port=1055",      "timeout=7",       "comment=new",     "password=pw",
    "filteractive=0", "filtermarks=10", "filterlist=a b",  "verboselogfile=", "logsuccess=0",
    "logfails=0",     "oklogfile=ok",   "badlogfile=bad",  "allowupdates=0",  "allowmanage=0",
    "updateaddr=u",   "manageaddr=m",   "unc=1",           "foldersize=0",    "countfiles=0",
    "fileexists=0",   "filecrc=0",      "comparefiles=0",  "process=0",       "cpuusage=0",
    "script=0",       "external=0",     "ping=0",          "tcp=0",           "udp=0",
    "textlog=0",      "shellscript=0",  "executeaction=0", "tcpudpaction=0",  "syslogaction=1"};

void SetLive(Settings* settings) {
  settings->port = 1055;
  settings->timeout = 7;
  settings->comment = "new";
  settings->password = "pw";
  settings->filter_marks = "10";
  settings->filter_list = "a\r\nb";
  settings->ok_log_file = "ok";
  settings->bad_log_file = "bad";
  settings->update_addr = "u";
  settings->manage_addr = "m";
  settings->unc = true;
  settings->free_space = true;
  settings->syslog_action = true;
}

// The appended lines but those of the named keys.
std::string Appended(const std::vector<std::string>& present) {
  std::string text;
  for (const std::string line : kAppended) {
    const std::string key = line.substr(0, line.find('='));
    if (std::find(present.begin(), present.end(), key) == present.end()) text += line + "\r\n";
  }
  return text;
}

class ConfigSaveTest : public testing::Test {
 protected:
  ConfigSaveTest() {
    live_.config_path = scratch_ / "zem.cfg";
    SetLive(&live_);
    error_ = "stale";
  }

  // The file that a save makes of an old one.
  std::string Saved(const std::string& old_file) {
    WriteFile(scratch_ / "zem.cfg", old_file);
    EXPECT_TRUE(SaveSettings(live_, &error_));
    EXPECT_EQ(error_, "");
    EXPECT_FALSE(FileExists(scratch_ / "zem.cfg.New"));
    EXPECT_EQ(ReadFile(scratch_ / "zem.cfg.Old"), old_file);
    return ReadFile(scratch_ / "zem.cfg");
  }

  // A save that has to fail with this text and leave the file as it is and no ".New".
  void ExpectFailure(const std::string& error) {
    const std::string before = ReadFile(scratch_ / "zem.cfg");
    EXPECT_FALSE(SaveSettings(live_, &error_));
    EXPECT_EQ(error_, error);
    EXPECT_EQ(ReadFile(scratch_ / "zem.cfg"), before);
  }

  TempDir scratch_;
  Settings live_;
  OvString error_;
};

TEST_F(ConfigSaveTest, RewritesLinesInPlaceAndAppendsWhatIsMissing) {
  const struct {
    std::string old_file, rewritten;
    std::vector<std::string> present;
  } cases[] = {
      {"", "", {}},
      {"comment = old\r\n", "comment = new\r\n", {"comment"}},
      {" COMMENT\t=\t older \t", " COMMENT\t=\t new\r\n", {"comment"}},
      {"comment=\n", "comment=new\r\n", {"comment"}},
      {"comment=  \n", "comment=  new\r\n", {"comment"}},
      {"comment=a\ncomment=b", "comment=new\r\ncomment=new\r\n", {"comment"}},
      {"host=kept \nverboselogfile=kept",
       "host=kept \nverboselogfile=kept\r\n",
       {"host", "verboselogfile"}},  // deliberate: an empty text leaves the old value
      {"port= 1 x\ntimeout=\n", "port= 1055\r\ntimeout=7\r\n", {"port", "timeout"}},
      {"filterlist=x\n", "filterlist=a b\r\n", {"filterlist"}},
      {"unc=0 # remark \nudp=yes\r\n", "unc=1 # remark \nudp=0es\r\n", {"unc", "udp"}},
      {"unc=\r\nudp= \t\ntcp=", "unc=1\r\nudp=0 \t\ntcp=0\r\n", {"unc", "udp", "tcp"}},
      {"freespace=0\n", "freespace=1\n", {}},  // rewritten, yet never appended
      {"#comment=a\n;unc=0\n #unc=0\nno equals\n\n \nunknown = x\nlast",
       "#comment=a\n;unc=0\n #unc=0\nno equals\n\n \nunknown = x\nlast\r\n",
       {}},
      {"zempath=/z\ntmpdir=/t\npidfile=/p\ndelayforscripts=1\ncpuusagescript=c\n"
       "proclistscript=l\nproccntscript=n\n",
       "zempath=/z\ntmpdir=/t\npidfile=/p\ndelayforscripts=1\ncpuusagescript=c\n"
       "proclistscript=l\nproccntscript=n\n",
       {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Saved(c.old_file), c.rewritten + Appended(c.present)) << c.old_file;
  }
}

TEST_F(ConfigSaveTest, NoSettingBringsInALineOfItsOwn) {
  live_.comment = "a\r\npassword=evil\nb\rc";
  live_.comment.Append('\0').Append("d");
  live_.filter_list = "x\r\ny\rz\npassword=evil";
  live_.host = "\n";
  const std::string file = Saved("comment=old\nfilterlist=old\n");
  EXPECT_EQ(file.substr(0, file.find("port=")),
            "comment=a  password=evil b c d\r\nfilterlist=x y z password=evil\r\nhost= \r\n");
}

TEST_F(ConfigSaveTest, EveryLineFits1023Bytes) {
  const auto text = [](size_t count) { return std::string(count, 'x'); };
  const auto blanks = [](size_t count) { return std::string(count, ' '); };
  // Values are cut to the room that the key and the line end leave them.
  for (const size_t size : {1012U, 1013U, 1014U, 5000U}) {
    live_.comment = text(size);
    for (const char* old_file : {"comment=\n", ""}) {
      const std::string file = Saved(old_file);
      const size_t start = file.find("comment=");
      EXPECT_EQ(file.substr(start, file.find('\n', start) + 1 - start),
                "comment=" + text(std::min<size_t>(size, 1013)) + "\r\n");
    }
  }
  live_.comment = text(50);
  EXPECT_EQ(Saved("comment=" + blanks(1000) + "y\n"),
            "comment=" + blanks(1000) + text(13) + "\r\n" + Appended({"comment"}));

  live_.comment = "";
  const struct {
    std::string old_file, expected;
  } cases[] = {
      // Lines of 1,023 and 1,024 bytes, their ends included, stay as they are.
      {"#" + text(1021) + "\n", "#" + text(1021) + "\n"},
      {"#" + text(1020) + "\r\n", "#" + text(1020) + "\r\n"},
      {"#" + text(1020), "#" + text(1020) + "\r\n"},
      // Where there is no room for a line end all bytes are kept on two lines.
      {"#" + text(1021), "#" + text(1020) + "\r\nx\r\n"},
      {"#" + text(1022) + "\n", "#" + text(1020) + "\r\nxx\r\n\n"},
      {"#" + text(1021) + "\r\n", "#" + text(1020) + "\r\nx\r\r\n\n"},
      {"comment=" + text(1014) + "\n", "comment=" + text(1014) + "\n"},
      // A flag that has no value yet takes the place of a blank at the latest.
      {"unc=" + blanks(1017) + "\n", "unc=1" + blanks(1017) + "\n"},
      {"unc=" + blanks(1018) + "\n", "unc=1" + blanks(1017) + "\n"},
      {"unc=" + blanks(1017) + "\r\n", "unc=1" + blanks(1016) + "\r\n"},
      {"unc=" + blanks(1019), "unc=1" + blanks(1016) + "\r\n" + blanks(2) + "\r\n"},
  };
  for (const auto& c : cases) {
    const std::string file = Saved(c.old_file);
    EXPECT_EQ(file.substr(0, c.expected.size()), c.expected);
    for (size_t start = 0; start < file.size();) {
      const size_t end = file.find('\n', start);
      ASSERT_NE(end, std::string::npos);
      EXPECT_LE(end + 1 - start, 1023U);
      start = end + 1;
    }
  }
}

TEST_F(ConfigSaveTest, WhatIsSavedIsWhatIsLoaded) {
  WriteFile(scratch_ / "zem", "");
  Settings odd = live_;
  odd.timeout = -12345;
  int number = 0;
  for (const SettingRow& row : SettingsTable()) {
    if (row.on_save == OnSave::kNever) continue;
    if (const auto* text = std::get_if<OvString Settings::*>(&row.member)) {
      odd.*(*text) = OvString("a=b # c \x7F\xFF ;").AppendInt(++number);
    } else if (const auto* flag = std::get_if<bool Settings::*>(&row.member)) {
      odd.*(*flag) = ++number % 2 == 0;
    }
  }
  odd.filter_list = "1.2.3.4\r\n\r\n5.6.7.8";
  const std::string zempath = "zempath=" + scratch_ / "zem" + "\n";
  for (const std::string& old_file :
       {zempath + "freespace=\n", "comment=old\r\n#c\nUNC =1 x\nFreeSpace=\nport=9\n" + zempath}) {
    live_ = odd;
    Saved(old_file);
    Settings loaded;
    loaded.config_path = live_.config_path;
    EXPECT_TRUE(LoadSettings(&loaded, &error_)) << error_.CStr();
    for (const SettingRow& row : SettingsTable()) {
      if (row.on_save == OnSave::kNever) continue;
      std::visit([&](auto member) { EXPECT_EQ(loaded.*member, odd.*member) << row.key; },
                 row.member);
    }
    // Saving what was loaded changes nothing any more.
    const std::string once = ReadFile(scratch_ / "zem.cfg");
    EXPECT_TRUE(SaveSettings(loaded, &error_));
    EXPECT_EQ(ReadFile(scratch_ / "zem.cfg"), once);
  }
}

TEST_F(ConfigSaveTest, KeepsModeAndOwnerAndFollowsNoLink) {
  WriteFile(scratch_ / "zem.cfg", "comment=old\n");
  WriteFile(scratch_ / "victim", "untouched");
  for (const char* name : {"zem.cfg.New", "zem.cfg.Old"}) {
    ASSERT_EQ(symlink((scratch_ / "victim").c_str(), (scratch_ / name).c_str()), 0);
  }
  const std::string path = scratch_ / "zem.cfg";
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  ASSERT_TRUE(geteuid() != 0 || chown(path.c_str(), 65534, 65533) == 0);
  struct stat before;
  struct stat after;
  ASSERT_EQ(stat(path.c_str(), &before), 0);
  EXPECT_TRUE(SaveSettings(live_, &error_));
  ASSERT_EQ(lstat(path.c_str(), &after), 0);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_EQ(ReadFile(scratch_ / "victim"), "untouched");
  ASSERT_EQ(lstat((scratch_ / "zem.cfg.Old").c_str(), &after), 0);
  EXPECT_TRUE(S_ISREG(after.st_mode));
  EXPECT_EQ(ReadFile(scratch_ / "zem.cfg.Old"), "comment=old\n");
  // A folder in the way of ".Old" does not fail a save.
  ASSERT_EQ(unlink((scratch_ / "zem.cfg.Old").c_str()), 0);
  ASSERT_EQ(mkdir((scratch_ / "zem.cfg.Old").c_str(), 0755), 0);
  EXPECT_TRUE(SaveSettings(live_, &error_));
  EXPECT_EQ(error_, "");
}

TEST_F(ConfigSaveTest, ALinkStaysAndItsFileIsRewritten) {
  ASSERT_EQ(mkdir((scratch_ / "real").c_str(), 0755), 0);
  WriteFile(scratch_ / "real/file", "comment=old\n");
  ASSERT_EQ(symlink("real/file", (scratch_ / "middle").c_str()), 0);
  ASSERT_EQ(symlink("middle", (scratch_ / "zem.cfg").c_str()), 0);
  EXPECT_TRUE(SaveSettings(live_, &error_));
  EXPECT_EQ(std::filesystem::read_symlink(scratch_ / "zem.cfg"), "middle");
  EXPECT_EQ(std::filesystem::read_symlink(scratch_ / "middle"), "real/file");
  EXPECT_EQ(ReadFile(scratch_ / "real/file").substr(0, 13), "comment=new\r\n");
  EXPECT_EQ(ReadFile(scratch_ / "real/file.Old"), "comment=old\n");
  EXPECT_FALSE(FileExists(scratch_ / "zem.cfg.Old"));
  // One that leads nowhere is no file to save.
  unlink((scratch_ / "real/file").c_str());
  ExpectFailure("Cannot open configuration file '" + scratch_ / "zem.cfg" + "'");
}

TEST_F(ConfigSaveTest, AFailureAtAnyStepLeavesTheFileWhole) {
  const std::string path = scratch_ / "zem.cfg";
  const std::string cannot_create = "Cannot create new configuration file '" + path + ".New'";
  live_.config_path = "";
  ExpectFailure("Configuration file is not specified");
  live_.config_path = path;
  ExpectFailure("Cannot open configuration file '" + path + "'");
  ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
  ExpectFailure("Cannot open configuration file '" + path + "'");
  ASSERT_EQ(rmdir(path.c_str()), 0);

  WriteFile(scratch_ / "zem.cfg", "comment=old\n" + std::string(200, '#') + "\n");
  ASSERT_EQ(mkdir((path + ".New").c_str(), 0755), 0);
  ExpectFailure(cannot_create);
  ASSERT_EQ(rmdir((path + ".New").c_str()), 0);

  // A disk that is full half-way through the file.
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit small = {.rlim_cur = 100, .rlim_max = limit.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const bool saved = SaveSettings(live_, &error_);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  EXPECT_FALSE(saved);
  EXPECT_EQ(error_, cannot_create);
  EXPECT_FALSE(FileExists(scratch_ / "zem.cfg.New"));
  EXPECT_EQ(ReadFile(scratch_ / "zem.cfg"), "comment=old\n" + std::string(200, '#') + "\n");

  ASSERT_EQ(chmod(scratch_.Path().c_str(), 0555), 0);
  {
    const AsOrdinaryUser ordinary;
    ExpectFailure(cannot_create);
  }
  EXPECT_FALSE(FileExists(scratch_ / "zem.cfg.Old"));
  // Here the ordinary user may make files but not replace the superuser's.
  ASSERT_EQ(chmod(scratch_.Path().c_str(), 01777), 0);
  if (geteuid() == 0) {
    const AsOrdinaryUser ordinary;
    ExpectFailure("Cannot overwrite configuration file '" + path + "'");
    EXPECT_FALSE(FileExists(scratch_ / "zem.cfg.New"));
  }
  EXPECT_TRUE(SaveSettings(live_, &error_));
}

TEST_F(ConfigSaveTest, AProcessThatDiesWhileSavingLeavesAWholeFile) {
  // Two configurations that the child writes in turn, long enough for several writes and pages.
  std::string whole[2];
  std::string remarks;
  for (int i = 0; i < 400; ++i) remarks += "# " + std::string(60, 'r') + "\n";
  for (int i = 0; i < 2; ++i) {
    live_.comment = i == 0 ? "first" : "second, which is longer";
    whole[i] = Saved(remarks + "comment=x\n");
  }
  using Clock = std::chrono::steady_clock;
  std::mt19937 random(99);
  int seen[2] = {};
  for (int round = 0; round < 100; ++round) {
    int saving[2];
    ASSERT_EQ(pipe(saving), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (int i = round;; ++i) {
        live_.comment = i % 2 == 0 ? "first" : "second, which is longer";
        if (!SaveSettings(live_, &error_) || (i == round && write(saving[1], "", 1) != 1)) _exit(1);
      }
    }
    // From here on it saves without a pause; it dies at any moment of that.
    char byte = 0;
    close(saving[1]);
    EXPECT_EQ(read(saving[0], &byte, 1), 1) << "a save failed after an earlier one was cut off";
    close(saving[0]);
    const auto end = Clock::now() + std::chrono::microseconds(random() % 15000);
    bool always_there = true;
    while (Clock::now() < end) always_there &= access(live_.config_path.CStr(), R_OK) == 0;
    kill(child, SIGKILL);
    EXPECT_TRUE(always_there) << "for a moment no configuration stood at the path";
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    const std::string now = ReadFile(scratch_ / "zem.cfg");
    ASSERT_TRUE(now == whole[0] || now == whole[1]) << now.size() << " bytes in round " << round;
    ++seen[now == whole[1] ? 1 : 0];
  }
  EXPECT_GT(seen[0], 0);
  EXPECT_GT(seen[1], 0);
}

}  // namespace
}  // namespace zem
