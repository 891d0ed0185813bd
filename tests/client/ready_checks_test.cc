// SPDX-License-Identifier: BSD-2-Clause
// The ready checks on prepared systems: the real client, the agent's own way with scripts, and
// beneath the checks a root of files and a PATH of stand-ins.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "checks/system/scratch.h"
#include "checks/system/shell_script.h"
#include "client/client_run.h"
#include "client/fake_agent.h"
#include "model/kept_text.h"
#include "temp_dir.h"

namespace zem::test {
namespace {

// What the commands that prepare a root can use: "put FILE LINE...", "tool NAME TEXT".
constexpr const char* kWords = R"sh(
put() { mkdir -p "$(dirname "$1")"; f=$1; shift; printf '%b\n' "$@" >"$f"; }
tool() { printf '#!/bin/sh\n%s\n' "$2" >"bin/$1"; chmod 755 "bin/$1"; }
)sh";
constexpr const char* kFresh = R"sh(
mkdir bin after
for t in sh awk sed grep cat tr sort ls head tail wc od cksum cp gzip; do ln -s "$(command -v $t)" bin/$t; done
tool sleep 'cp -R "$ZEM_ROOT/after/." "$ZEM_ROOT"'
tool date 'echo 1800000000'
tool uname 'case $1 in -r) echo 6.1;; *) echo Linux;; esac'
)sh";

class ReadyChecks : public testing::Test {
 protected:
  // A new root, prepared by these commands.
  void Begin(const char* commands) {
    root_.emplace();
    Do(kFresh);
    Do(commands);
  }
  const std::string& Root() const { return root_->Path(); }
  void Do(const std::string& commands) { Run("cd " + Root() + " && " + kWords + commands); }
  static void Run(const std::string& commands) {
    ASSERT_EQ(system(commands.c_str()), 0) << commands;
  }
  // What check_zem prints, and whether its status is that of the state it names.
  std::string Check(const std::string& line) {
    setenv("ZEM_PASSWORD", std::string(kFakePassword).c_str(), 1);
    const ClientRun run =
        RunClient("check_zem -p " + std::to_string(agent_.Port()) + " check --from " +
                  ZEM_CHECKS_SOURCE " --state " + Root() + "/state " + line);
    static constexpr const char* kStates[] = {" OK - ", " WARNING - ", " CRITICAL - ",
                                              " UNKNOWN - "};
    EXPECT_NE(run.out.find(kStates[run.exit_code & 3]), std::string::npos) << run.exit_code;
    return run.out;
  }
  std::optional<TempDir> root_;
  const FakeAgent agent_{[this](FakeSession* session, int) {
    std::string request = session->ReadRequest();
    request.erase(0, request.find('\n') + 1)
        .replace(0, 7, "/usr/bin/env -i PATH=" + Root() + "/bin ZEM_ROOT=" + Root() + " /bin/sh");
    Settings settings;
    settings.delay_for_scripts = 0;
    session->Reply(Answer(CheckShellScript, settings, request) + "\n\r");
  }};
};

struct Case {
  const char* name;
  const char* prepare;
  const char* figure;
  const char* ok;  // thresholds
  const char* warning;
  const char* critical;
  const char* spoil;
  const char* reason;
};

TEST_F(ReadyChecks, EachJudgesTellsAndKnowsWhenItCannot) {
  const Case cases[] = {
      {"load",
       "put proc/loadavg '1.00 4.00 3.00 1/2 3'; put proc/cpuinfo 'processor : 0\nprocessor : 1'",
       "'per_processor'=2;", "", "-w 1.9", "-c 1.9", "rm proc/loadavg",
       "/proc/loadavg does not exist"},
      {"memory", "put proc/meminfo 'MemTotal: 1048576 kB' 'MemFree: 1' 'MemAvailable: 262144 kB'",
       "'used'=75%", "", "-w 74%", "-c 74", "put proc/meminfo 'MemTotal: 1'", "does not tell"},
      {"swap", "put proc/meminfo 'SwapTotal: 1000 kB' 'SwapFree: 700 kB'", "'used_bytes'=307200B",
       "", "-w 29", "-c 29", "put proc/meminfo 'SwapTotal: 0 kB'", "no swap"},
      {"inodes",
       "put proc/mounts 'proc /proc proc rw' '/dev/a /a\\\\040b ext4 rw' '/dev/z / btrfs rw';"
       "tool df 'echo; case $2 in / ) echo z 0 0 0 - /;; *b) echo a 9 3 1 75% \"$2\";; *) exit 1; "
       "esac'",
       "'/a b'=75%;", "-w 80", "-w 70", "-c 70", "rm bin/df", "df is not installed"},
      {"disk-io",
       "mkdir -p sys/block/sda sys/block/loop0; put proc/uptime '10.00 1.0';"
       "put proc/diskstats '8 0 sda 1 0 8 0 1 0 16 0 0 100 0' '8 1 sda1 1 0 8 0 1 0 16 0 0 0 0';"
       "put after/proc/uptime '12.00 1'; put after/proc/diskstats '8 0 sda 1 0 16 0 1 0 32 0 0 "
       "1100 0'",
       "'sda_read'=2048B;;;0 'sda_written'=4096B;;;0\n", "", "-w 49", "-c 49",
       "rm -r sys/block/sda proc/diskstats", "does not exist"},
      {"net-rate",
       "put proc/uptime '1.50 1'; put after/proc/uptime '2.00 1';"
       "put proc/net/dev a b ' lo: 1 0 0 0 0 0 0 0 1' 'eth0:100 0 0 0 0 0 0 0 9'; put "
       "after/proc/net/dev "
       "a b ' lo: 9 0 0 0 0 0 0 0 9' 'eth0:1124 0 0 0 0 0 0 0 9'",
       "'eth0_in'=2048B;", "", "-w 2047", "-c 1K",
       "rm after/proc/net/dev; put proc/net/dev a b ' lo:1 0'",
       "no interface besides the loopback"},
      {"uptime", "put proc/uptime '3661.50 7000.00'", "1 h 1 min | 'uptime'=3661s;", "",
       "-w 2h:", "-c 2h:", "rm proc/uptime", "does not exist"},
      {"zombies",
       "put proc/1/status 'Name:\tinit' 'State:\tS (s)' 'PPid:\t0';"
       "put proc/2/status 'Name:\tgone' 'State:\tZ (z)' 'PPid:\t1'",
       "1 of 2 processes: gone of 1 | 'zombies'=1;", "", "-w 0", "-c 0", "rm proc/1/status",
       "hidden"},
      {"users", "tool who 'echo a tty1; echo a pts/1; echo b pts/2'",
       "3 sessions of 2 users: a b | 'sessions'=3;", "", "-w 2", "-c 2", "rm bin/who",
       "who is not"},
      {"failed-units", "tool systemctl 'echo a.service loaded failed failed A'",
       "1 failed: a.service | 'failed'=1;", "-c 1", "-w 0 -c 1", "",
       "tool systemctl 'echo no bus; exit 1'", "systemctl: no bus"},
      {"updates-and-reboot",
       "tool apt-get 'echo Inst a [1] \\(2 Debian-Security:12\\); echo Inst b [1]';"
       "put run/reboot-required",
       "2 updates, 1 of them for security, a reboot is due", "-w 1", "", "-c 0",
       "tool apt-get 'echo locked; exit 100'", "apt-get: locked"},
      {"clock-offset", "tool chronyc 'echo A,b,3,1.0,-0.250000,0,0,Normal'", "'offset'=0.25s;",
       "-w 1", "", "-c 200ms", "tool chronyc 'echo ,,0,0.0,0.0,0,Not synchronised'",
       "not synchronised"},
      // 1,800,000,000 is the 15th of January 2027, 08:00:00.
      {"certificate /c.pem",
       "put c.pem x; tool openssl 'echo \"notAfter=Mar  1 08:00:01 2028 GMT\"'",
       "expires on Mar 1 2028, 411 days | 'left'=35510401s;", "",
       "-w 500d:", "-c 500d:", "tool openssl 'exit 1'", "no certificate at /c.pem"},
      {"mail-queue", "tool mailq 'echo -- 9 Kbytes in 3 Requests.'", "'mails'=3;", "", "-w 2",
       "-w ~: -c 2", "rm bin/mailq", "mailq is not installed"},
      {"read-only-mounts",
       "put proc/mounts '/dev/a / ext4 rw,x' '/dev/b /b ext4 ro,x' '/dev/c /c ext4 ro'"
       " 'tmpfs /t tmpfs ro' '/dev/d /d iso9660 ro'; put etc/fstab '/dev/c /c ext4 ro 0 0'",
       "1 of 3: /b | 'read_only'=1;", "-c 1", "-w 0 -c 1", "", "rm proc/mounts", "does not exist"},
      {"software-raid",
       "put proc/mdstat 'md0 : active raid1 a[0] b[1]' ' 9 blocks [3/1] [U__]' "
       "' [=>...]  recovery = 12.6% (1/2)' 'md1 : active raid1 c[0]' ' 9 blocks [2/2] [UU]'",
       "2 missing in 2 arrays: md0, md0 is at 12.6% | 'missing'=2;", "-c 2", "-w 1 -c 2", "",
       "put proc/mdstat 'unused devices: <none>'", "no software RAID"},
      {"temperature",
       "put sys/class/hwmon/hwmon0/temp1_input 81500; put sys/class/hwmon/hwmon0/name chip;"
       "put sys/class/thermal/thermal_zone0/temp 30000; put sys/class/thermal/thermal_zone0/type "
       "acpi",
       "'hwmon0 chip temp1'=81;", "-w 81", "", "-c 80", "rm -r sys", "no sensor"},
      {"open-files", "put proc/sys/fs/file-nr '1500 500 4000'", "'files'=1000;;;0;4000", "",
       "-w 24", "-c 24", "rm -r proc", "does not exist"},
      {"tcp-states CLOSE_WAIT",
       "put proc/net/tcp h '0: A:1 B:2 0A 0' '1: A:1 B:2 08 0' '2: A:1 B:2 01 0';"
       "put proc/net/tcp6 h '0: A:1 B:2 08 0'",
       "4 connections, 1 established, 2 in CLOSE_WAIT | 'CLOSE_WAIT'=2;", "", "-w 1", "-c 1",
       "rm -r proc", "does not exist"},
      {"processes a-name-of-sixteen",
       "put proc/1/status x; put proc/1/comm 'a-name-of-sixte';"
       "put proc/2/comm 'a-name'",
       "'processes'=1;", "", "-w 2:", "-c 2:", "rm -r proc", "hidden"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Begin(c.prepare);
    const std::string ask = std::string(c.name) + ' ';
    const std::pair<const char*, const char*> judged[] = {
        {c.ok, " OK - "}, {c.warning, " WARNING - "}, {c.critical, " CRITICAL - "}};
    for (const auto& [thresholds, state] : judged) {
      Do(c.prepare);  // what a second in between has changed is put back
      const std::string out = Check(ask + thresholds);
      EXPECT_NE(out.find(state), std::string::npos) << thresholds << ' ' << out;
      EXPECT_NE(out.find(c.figure), std::string::npos) << out;
    }
    Do(c.spoil);
    const std::string out = Check(ask);
    EXPECT_NE(out.find(" UNKNOWN - "), std::string::npos) << out;
    EXPECT_NE(out.find(c.reason), std::string::npos) << out;
  }
}

// Each look, behind these changes, finds so many lines; -1 = it says that it cannot know.
TEST_F(ReadyChecks, LogIsReadOnceAndWhole) {
  const std::pair<const char*, int> looks[] = {
      {"put log 'error 0'", 0},  // what was there before the first look
      {"echo 'Error 1' >>log; echo fine >>log", 1},
      {"printf 'error 2' >>log", 0},  // a line that has no end yet
      {"echo ' ends' >>log", 1},
      {"mv log log.1; echo 'error 3' >>log.1; put log 'error 4'", 2},
      {"echo 'error 5' >>log.1; echo 'error 6' >>log", 2},  // its program still has the old one
      {"cp log log.1; put log 'error 7'", 1},               // copied away and emptied
      {"echo 'error 8' >>log; mv log log.2; put log.1 'error 9'; put log 'error 10';"
       "touch -t 202001010000 log.2",
       3},
      {"echo 'error 11' >>log; rm log.?; mv log log.1; gzip log.1; put log 'error 12'", 2},
      {"printf '' >log; echo 'error 13' >>log", 1},  // emptied in place
      {"put other 'error 14'; mv other log", -1},    // its rest is gone with it
      {"true", 1},
      {"true", 0},
      {"mv log log.2; put log 'error 15'", 1},
      {"echo 'error 16' >>log.2; gzip log.2", 1},  // what it got before it was compressed
      {"cp log log.3; printf '' >log", 0},
      {"echo 'error 17' >>log; cp log log.4; printf '' >log; echo 'error 18' >>log", 2},
  };
  Begin("true");
  for (const auto& [change, lines] : looks) {
    SCOPED_TRACE(change);
    Do(change);
    const std::string out = Check("log-errors /log");
    const std::string part = lines < 0 ? "was rotated" : "'lines'=" + std::to_string(lines) + ';';
    EXPECT_NE(out.find(part), std::string::npos) << out;
  }
}

// Two looks at once would tell the same lines.
TEST(KeptText, IsForOneRunAtATime) {
  using std::chrono::milliseconds;
  const TempDir folder;
  client::WriteKept(folder.Path(), "key", "old");
  UniqueFd hold;
  EXPECT_EQ(client::ReadKept(folder.Path(), "key", milliseconds(0), &hold), "old");
  UniqueFd other;
  EXPECT_THROW((void)client::ReadKept(folder.Path(), "key", milliseconds(0), &other),
               std::runtime_error);
  std::string read;
  std::thread waiting(
      [&] { read = client::ReadKept(folder.Path(), "key", milliseconds(10'000), &other); });
  std::this_thread::sleep_for(milliseconds(50));
  client::WriteKept(folder.Path(), "key", "new");
  hold.Reset();
  waiting.join();
  EXPECT_EQ(read, "new");
}

}  // namespace
}  // namespace zem::test
