// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "dispatch/upgrade.h"
#include "dispatch/upgrade_script.h"
#include "e2e/temp_dir.h"
#include "protocol/cipher.h"

namespace zem {
namespace {

constexpr std::string_view kKey = "session-key-0123";

class UpgradeTransfer : public testing::Test {
 protected:
  void SetUp() override { setenv("TMPDIR", dir_.Path().c_str(), 1); }
  void TearDown() override { unsetenv("TMPDIR"); }

  bool Transfer(UpgradeContext* upgrade) {
    const std::string program(200, 'p');
    RunningMd5 md5;
    md5.Update(program);
    OvString error;
    if (!upgrade->ClaimUpgrade(MakeSessionKey(kKey))) return false;
    upgrade->ExpectProgram(200, "/opt/zem/zem");
    return upgrade->ReceiveUpgrade({}, &error) && upgrade->ReceiveUpgrade(program, &error) &&
           upgrade->ReceiveUpgrade(EncipherText(md5.Finish(), kKey), &error);
  }

  test::TempDir dir_;
  ProcessControl control_;
};

// Another session that closes while the answer to the upgrade is still to be sent must not set the
// main thread off: that answer would be lost to the execution it announces.
TEST_F(UpgradeTransfer, IsRequestedByItsOwnSessionAlone) {
  UpgradeContext upgrade(&control_);
  ASSERT_TRUE(Transfer(&upgrade));
  control_.SessionClosed({});
  EXPECT_FALSE(control_.UpgradeRequested());
  upgrade.HandOver();
  control_.SessionClosed({});
  EXPECT_TRUE(control_.UpgradeRequested());
  EXPECT_EQ(control_.UpgradePath(), dir_ / "zemupd__.sh");
  EXPECT_FALSE(control_.ClaimUpgradeSlot()) << "held until the script runs";
}

TEST_F(UpgradeTransfer, HandsNothingOverThatDidNotEndWell) {
  UpgradeContext upgrade(&control_);
  OvString error;
  ASSERT_TRUE(upgrade.ClaimUpgrade(MakeSessionKey(kKey)));
  upgrade.ExpectProgram(200, "/opt/zem/zem");
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

TEST(UpgradeScript, IsTheSameByteForByteAsEver) {
  EXPECT_EQ(UpgradeScriptText("/opt/zem", "/tmp/zem__.upd", "/tmp/zemupd__.sh"),
            "#! /bin/sh\n"
            "oldZEM='/opt/zem'\n"
            "newZEM='/tmp/zem__.upd'\n"
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
            "rm /tmp/zemupd__.sh\n");
}

}  // namespace
}  // namespace zem
