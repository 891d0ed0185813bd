// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "core/inherited_state.h"
#include "dispatch/upgrade.h"
#include "protocol/cipher.h"
#include "temp_dir.h"

namespace zem {
namespace {

constexpr std::string_view kKey = "session-key-0123";
constexpr std::string_view kNoProgramFlag = "Cannot set exec flag new module";
constexpr std::string_view kNoScript = "Binary code transferred. Cannot create script file";

// Some disks tell that they are full only at the close.
enum class Disk { kFine, kFailsAtSync, kFailsAtClose } disk = Disk::kFine;

class UpgradeTransfer : public testing::Test {
 protected:
  void SetUp() override { UseFolder(dir_.Path()); }
  void TearDown() override { unsetenv("TMPDIR"); }

  static void UseFolder(const std::string& folder) { setenv("TMPDIR", folder.c_str(), 1); }

  // What the peer is told in the end; empty when all went well. `before_end` happens before the
  // digest arrives.
  OvString Transfer(
      UpgradeContext* upgrade, const std::function<void()>& before_end = [] {}) {
    const std::string program(200, 'p');
    RunningMd5 md5;
    md5.Update(program);
    OvString error;
    if (!upgrade->ClaimUpgrade(MakeSessionKey(kKey))) return "no slot";
    upgrade->ExpectProgram(200, program_path_);
    if (!upgrade->ReceiveUpgrade({}, &error) || !upgrade->ReceiveUpgrade(program, &error)) {
      return error;
    }
    before_end();
    (void)upgrade->ReceiveUpgrade(EncipherText(md5.Finish(), kKey), &error);
    return error;
  }

  // A transfer that has to fail with this text, free the slot and leave these files.
  void ExpectFailure(
      std::string_view text, const std::function<void()>& before_end = [] {},
      const std::vector<std::string>& left = {}) {
    UpgradeContext upgrade(&control_);
    EXPECT_EQ(Transfer(&upgrade, before_end), text);
    EXPECT_FALSE(upgrade.IsActive());
    EXPECT_TRUE(control_.ClaimUpgradeSlot());
    control_.ReleaseUpgradeSlot();
    EXPECT_EQ(ListDir(getenv("TMPDIR")), left);
  }

  TempDir dir_;
  ProcessControl control_;
  OvString program_path_ = "/tmp/zem";
};

// Another session that closes while the answer to the upgrade is still to be sent must not set the
// main thread off: that answer would be lost to the execution it announces.
TEST_F(UpgradeTransfer, IsRequestedByItsOwnSessionAlone) {
  UpgradeContext upgrade(&control_);
  ASSERT_EQ(Transfer(&upgrade), "");
  control_.SessionClosed({});
  EXPECT_FALSE(control_.UpgradeRequested());
  upgrade.HandOver();
  control_.SessionClosed({});
  EXPECT_TRUE(control_.UpgradeRequested());
  EXPECT_EQ(control_.UpgradePath(), dir_ / "zemupd__.sh");
  EXPECT_FALSE(control_.ClaimUpgradeSlot()) << "held until the script runs";
  EXPECT_EQ(ReadFile(dir_ / "zemupd__.sh"),
            "#! /bin/sh\n"
            "oldZEM='/tmp/zem'\n"
            "newZEM='" +
                (dir_ / "zem__.upd") +
                "'\n"
                "retries=10\n"
                "rm $oldZEM\n"
                "while [ -f $oldZEM ] &&  [ $retries -gt 0 ]\n"
                "do\n"
                "  retries=`expr $retries - 1`\n"
                "  echo $retries\n"
                "  sleep 1\n"
                "done\n"
                "cp -f $newZEM $oldZEM\n"
                "rm -f $newZEM\n"
                "$oldZEM $1 $2 $3 $4 $5 $6\n"
                "rm " +
                (dir_ / "zemupd__.sh") + "\n");
  control_.ClearUpgrade();
  EXPECT_TRUE(ListDir(dir_.Path()).empty()) << "a script that cannot be run is not kept";
}

TEST_F(UpgradeTransfer, HandsNothingOverThatDidNotEndWell) {
  UpgradeContext upgrade(&control_);
  OvString error;
  ASSERT_TRUE(upgrade.ClaimUpgrade(MakeSessionKey(kKey)));
  upgrade.ExpectProgram(200, "/tmp/zem");
  ASSERT_TRUE(upgrade.ReceiveUpgrade({}, &error));
  EXPECT_FALSE(upgrade.ReceiveUpgrade(std::string(216, 'p'), &error));
  upgrade.HandOver();
  control_.SessionClosed({});
  EXPECT_FALSE(control_.UpgradeRequested());
  EXPECT_TRUE(control_.ClaimUpgradeSlot());
}

// Deliberate: nothing frees it again until a byte follows.
TEST_F(UpgradeTransfer, ASizeThatWasRefusedKeepsTheSlot) {
  {
    UpgradeContext upgrade(&control_);
    ASSERT_TRUE(upgrade.ClaimUpgrade(MakeSessionKey(kKey)));
  }
  EXPECT_FALSE(control_.ClaimUpgradeSlot());
}

// The script installs what stands at the path and has removed the old program by then.
TEST_F(UpgradeTransfer, InstallsOnlyTheFileThatItWrote) {
  const std::string path = dir_ / "zem__.upd";
  const auto exchange = [&] {
    unlink(path.c_str());
    WriteFile(path, std::string(200, 'p'));
  };
  ExpectFailure(kNoProgramFlag, [&] { unlink(path.c_str()); });
  ExpectFailure(kNoProgramFlag, exchange, {"zem__.upd"});  // another's, so it stays
  ExpectFailure(kNoProgramFlag, [&] { WriteFile(path, "short"); });
  ExpectFailure(kNoProgramFlag,
                [&] {
                  rename(path.c_str(), (dir_ / "moved").c_str());
                  ASSERT_EQ(symlink("moved", path.c_str()), 0);
                },
                {"moved", "zem__.upd"});
}

TEST_F(UpgradeTransfer, RefusesPathsThatAShellWouldTakeApart) {
  for (const char byte : std::string(" \t\n'\"`$\\*?[]{}()<>|&;#~!^\x80\xA0")) {
    SCOPED_TRACE(byte);
    program_path_ = OvString("/tmp/a").Append(byte).Append("b");
    ExpectFailure(kNoScript);
  }
  program_path_ = "/tmp/zem";
  UseFolder(dir_ / "a b");
  mkdir((dir_ / "a b").c_str(), 0700);
  ExpectFailure(kNoScript);
}

// A peer that does not pause has its digest arrive together with the last bytes of the program.
TEST_F(UpgradeTransfer, TakesTheDigestBehindTheProgramOfTheSameReceive) {
  const std::string program(200, 'p');
  RunningMd5 md5;
  md5.Update(program);
  OvString end(program.substr(100));
  end.Append(EncipherText(md5.Finish(), kKey));
  UpgradeContext upgrade(&control_);
  OvString error;
  ASSERT_TRUE(upgrade.ClaimUpgrade(MakeSessionKey(kKey)));
  upgrade.ExpectProgram(200, program_path_);
  EXPECT_TRUE(upgrade.ReceiveUpgrade({}, &error));
  EXPECT_TRUE(upgrade.ReceiveUpgrade(program.substr(0, 100), &error));
  EXPECT_TRUE(upgrade.ReceiveUpgrade(end, &error)) << error.CStr();
  EXPECT_EQ(ReadFile(dir_ / "zem__.upd"), program);
}

// The new program is started with them by the same script.
TEST_F(UpgradeTransfer, RefusesArgumentsThatAShellWouldTakeApart) {
  const auto capture = [](std::string config) {
    char program[] = "zem";
    char* arguments[] = {program, config.data()};
    InheritedState::Mutable() = {};
    InheritedState::Capture(2, arguments);
  };
  for (const char* config : {"/etc/my zem.cfg", "a\tb", "a\nb", "a*", "a?", "[a]", "a\\b", ""}) {
    SCOPED_TRACE(config);
    capture(config);
    ExpectFailure(kNoScript);
  }
  capture("-/~(ü)&;$'\"");
  UpgradeContext upgrade(&control_);
  EXPECT_EQ(Transfer(&upgrade), "");
  InheritedState::Mutable() = {};
}

TEST_F(UpgradeTransfer, ADiskThatFailsIsAWriteError) {
  for (const Disk failing : {Disk::kFailsAtSync, Disk::kFailsAtClose}) {
    disk = failing;
    ExpectFailure("Write error");
  }
  disk = Disk::kFine;
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit small = {.rlim_cur = 100, .rlim_max = limit.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  ExpectFailure("Write error");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

}  // namespace
}  // namespace zem

// In place of the system's.
extern "C" int fsync(int fd) {
  if (zem::disk == zem::Disk::kFailsAtClose) close(fd);
  errno = EIO;
  return zem::disk == zem::Disk::kFailsAtSync ? -1 : 0;
}
