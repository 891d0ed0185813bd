// SPDX-License-Identifier: BSD-2-Clause
#include "core/settings_store.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "temp_dir.h"

namespace zem {
namespace {

class SettingsStoreTest : public testing::Test {
 protected:
  SettingsStoreTest() : store_(AtPath(scratch_ / "zem.cfg")) { WriteFile(scratch_ / "zem", ""); }

  static Settings AtPath(const std::string& path) {
    Settings settings;
    settings.config_path = path;
    return settings;
  }
  void WriteConfig(const std::string& lines) const {
    WriteFile(scratch_ / "zem.cfg", "port=1\nfiltermarks=1\nfilterlist=a\n" + lines);
  }
  std::string Zempath() const { return "zempath=" + scratch_ / "zem" + "\n"; }

  TempDir scratch_;
  SettingsStore store_;
  OvString error_;
};

TEST_F(SettingsStoreTest, AFailedReloadKeepsThePasswordAndTheProgram) {
  WriteConfig("password=secret\nfilteractive=1\nunc=0\n" + Zempath());
  EXPECT_TRUE(store_.Load(&error_));
  const SettingsPtr before = store_.Snapshot();

  WriteConfig("comment=half\nproccntscript=count\n");
  EXPECT_FALSE(store_.Load(&error_));
  SettingsPtr now = store_.Snapshot();
  EXPECT_EQ(now->password, "secret");
  EXPECT_EQ(now->zempath, before->zempath);
  EXPECT_EQ(now->proc_cnt_script, scratch_ / "count") << "beside the program that stays";
  EXPECT_EQ(now->comment, "half");  // the rest is published: defaults and the keys read
  EXPECT_FALSE(now->filter_active);
  EXPECT_TRUE(now->unc);
  EXPECT_TRUE(before->filter_active);  // whoever holds a snapshot keeps it

  WriteConfig("password=other\nzempath=/nonexistent/zem\n");
  EXPECT_FALSE(store_.Load(&error_));
  EXPECT_EQ(store_.Snapshot()->password, "other");
  EXPECT_EQ(store_.Snapshot()->zempath, "/nonexistent/zem");

  unlink((scratch_ / "zem.cfg").c_str());
  EXPECT_FALSE(store_.Load(&error_));
  EXPECT_EQ(error_, "Cannot open configuration file '" + scratch_ / "zem.cfg" + "'");
  EXPECT_EQ(store_.Snapshot()->password, "other");

  // A manager who sets an empty password gets it, whatever becomes of the file.
  EXPECT_FALSE(store_.UpdateAndSave([](Settings* s) { s->password = ""; }, &error_));
  EXPECT_EQ(store_.Snapshot()->password, "");
}

TEST_F(SettingsStoreTest, AChangeIsLiveAndInTheFile) {
  WriteConfig("password=secret\n" + Zempath());
  EXPECT_TRUE(store_.Load(&error_));
  EXPECT_TRUE(store_.UpdateAndSave([](Settings* s) { s->comment = "changed"; }, &error_));
  EXPECT_EQ(store_.Snapshot()->comment, "changed");
  EXPECT_NE(ReadFile(scratch_ / "zem.cfg").find("\r\ncomment=changed\r\n"), std::string::npos);
}

// A file that is missing for a moment leaves open defaults in force. They are not for writing.
TEST_F(SettingsStoreTest, AChangeAfterAFailedLoadLoadsFirst) {
  const std::string whole =
      "password=secret\nfilteractive=1\nexternal=0\nshellscript=0\n" + Zempath();
  WriteConfig(whole);
  EXPECT_TRUE(store_.Load(&error_));
  unlink((scratch_ / "zem.cfg").c_str());
  EXPECT_FALSE(store_.Load(&error_));
  EXPECT_TRUE(store_.Snapshot()->external);

  EXPECT_FALSE(store_.UpdateAndSave([](Settings* s) { s->comment = "first"; }, &error_));
  EXPECT_FALSE(store_.UpdateAndSave([](Settings* s) { s->unc = false; }, &error_));
  EXPECT_EQ(store_.Snapshot()->comment, "first")
      << "a change that was not saved is live all the same";

  WriteConfig(whole);
  EXPECT_TRUE(store_.UpdateAndSave([](Settings* s) { s->unc = false; }, &error_));
  const SettingsPtr now = store_.Snapshot();
  EXPECT_TRUE(now->filter_active);
  EXPECT_FALSE(now->external || now->shell_script || now->unc);
  const std::string file = ReadFile(scratch_ / "zem.cfg");
  for (const char* line : {"filteractive=1\n", "external=0\n", "shellscript=0\n", "unc=0\r\n"}) {
    EXPECT_NE(file.find(line), std::string::npos) << line << file;
  }

  // From here on what is live counts again, not what somebody wrote into the file by hand.
  WriteConfig(whole + "comment=by hand\n");
  EXPECT_TRUE(store_.UpdateAndSave([](Settings* s) { s->timeout = 7000; }, &error_));
  EXPECT_EQ(store_.Snapshot()->comment, "");
}

TEST_F(SettingsStoreTest, WritersTakeTurnsAndLoseNoChange) {
  const auto add = [this] {
    for (int i = 0; i < 2000; ++i) {
      while (!store_.TryUpdate([](Settings* s) { ++s->timeout; })) std::this_thread::yield();
    }
  };
  std::thread other(add);
  add();
  other.join();
  EXPECT_EQ(store_.Snapshot()->timeout, 4000);
}

}  // namespace
}  // namespace zem
