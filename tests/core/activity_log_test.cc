// SPDX-License-Identifier: BSD-2-Clause
#include "core/activity_log.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "temp_dir.h"

namespace zem {
namespace {

class ActivityLogTest : public testing::Test {
 protected:
  ActivityLogTest() : store_(Settings()), log_(&store_) {
    Change([this](Settings* s) {
      s->config_path = scratch_ / "zem.cfg";
      s->ok_log_file = "ok.log";
      s->bad_log_file = scratch_ / "bad.log";
      s->verbose_log_file = "all.log";
    });
  }

  void Change(const std::function<void(Settings*)>& change) { (void)store_.TryUpdate(change); }

  // Digits become "9", so that the clock does not matter.
  static std::string Masked(std::string text) {
    for (char& byte : text) byte = isdigit(static_cast<unsigned char>(byte)) != 0 ? '9' : byte;
    return text;
  }

  TempDir scratch_;
  SettingsStore store_;
  ActivityLog log_;
  const uint32_t peer_ = inet_addr("192.168.111.222");
};

TEST_F(ActivityLogTest, LinesHaveTheirFormats) {
  Change([](Settings* s) {
    s->run_mode = RunMode::kInteractive;
    s->log_fails = true;
  });
  testing::internal::CaptureStdout();
  log_.WriteLog("100% %s\n", peer_, LogKind::kFailure);
  log_.WriteLogFormat(0, LogKind::kFailure, "a%db\n", 5);
  EXPECT_EQ(Masked(testing::internal::GetCapturedStdout()),
            "[zem][99:99:99]\t 999.999.999.999\t 999% %s\n[zem][99:99:99]\t zem\t\t a9b\n");
  const std::string file = ReadFile(scratch_ / "bad.log");
  EXPECT_EQ(Masked(file),
            "[99/99/9999 99:99:99]\t 999.999.999.999\t 999% %s\n"
            "[99/99/9999 99:99:99]\t zem\t\t a9b\n");
  const time_t now = time(nullptr);
  char date[32];
  strftime(date, sizeof(date), "[%m/%d/%Y", localtime(&now));
  EXPECT_EQ(file.substr(0, 11), date);
}

TEST_F(ActivityLogTest, TextsAreCutAt511Bytes) {
  Change([](Settings* s) {
    s->run_mode = RunMode::kInteractive;
    s->log_fails = true;
  });
  const std::string shortened = "[99/99/9999 99:99:99]\t zem\t\t ";
  for (const size_t size : {482U, 483U, 511U, 512U, 5000U}) {
    const std::string message(size, 'm');
    testing::internal::CaptureStdout();
    log_.WriteLog(message, 0, LogKind::kFailure);
    log_.WriteLogFormat(0, LogKind::kFailure, "%s", message.c_str());
    const std::string console = testing::internal::GetCapturedStdout();
    const std::string file = ReadFile(scratch_ / "bad.log");
    const size_t expected = std::min<size_t>(511, shortened.size() + size);
    EXPECT_EQ(file.size(), 2 * expected) << size;
    EXPECT_EQ(Masked(file).substr(0, expected), shortened + message.substr(0, expected - 29));
    EXPECT_EQ(console.size(), 2 * std::min<size_t>(511, 23 + size)) << size;
    unlink((scratch_ / "bad.log").c_str());
  }
}

TEST_F(ActivityLogTest, KindAndSettingsDecideWhereAnEntryGoes) {
  enum : unsigned { kOk = 1, kBad = 2, kVerbose = 4, kConsole = 8 };
  const struct {
    LogKind kind;
    bool log_success, log_fails, verbose, debugging, interactive;
    unsigned expected;
  } cases[] = {
      {LogKind::kSuccess, true, true, false, false, false, kOk},
      {LogKind::kSuccess, false, true, false, false, false, 0},
      {LogKind::kSuccess, false, true, true, false, false, kVerbose},
      {LogKind::kSuccess, true, false, true, true, true, kOk | kVerbose | kConsole},
      {LogKind::kFailure, true, true, false, false, false, kBad},
      {LogKind::kFailure, true, false, false, false, false, 0},
      {LogKind::kFailure, true, true, true, false, true, kBad | kVerbose | kConsole},
      {LogKind::kInformation, true, true, false, false, false, 0},
      {LogKind::kInformation, true, true, false, false, true, kConsole},
      {LogKind::kInformation, true, true, true, false, false, kVerbose},
      {LogKind::kDebug, true, true, true, false, true, 0},
      {LogKind::kDebug, true, true, true, true, false, kVerbose},
      {LogKind::kDebug, true, true, true, true, true, kVerbose | kConsole},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Change([&c](Settings* s) {
      s->log_success = c.log_success;
      s->log_fails = c.log_fails;
      s->verbose = c.verbose;
      s->verbose_debugging = c.debugging;
      s->run_mode = c.interactive ? RunMode::kInteractive : RunMode::kDaemon;
    });
    testing::internal::CaptureStdout();
    log_.WriteLog("m\n", 0, c.kind);
    log_.WriteLogFormat(peer_, c.kind, "%s", "m\n");
    unsigned reached = testing::internal::GetCapturedStdout().empty() ? 0U : unsigned{kConsole};
    for (const auto& [name, bit] :
         {std::pair{"ok.log", kOk}, std::pair{"bad.log", kBad}, std::pair{"all.log", kVerbose}}) {
      if (unlink((scratch_ / name).c_str()) == 0) reached |= bit;
    }
    EXPECT_EQ(reached, c.expected);
  }
}

TEST_F(ActivityLogTest, FilesThatCannotBeWrittenAreSkipped) {
  Change([](Settings* s) {
    s->verbose = true;
    s->verbose_log_file = "";
    s->log_fails = true;
    s->bad_log_file = "/nonexistent/bad.log";
  });
  log_.WriteLog("m\n", 0, LogKind::kInformation);
  log_.WriteLog("m\n", 0, LogKind::kFailure);
  EXPECT_FALSE(FileExists(scratch_ / "all.log"));
  const OvString config_path(scratch_ / "zem.cfg");
  AppendLogLine(config_path, "", "line\n");
  AppendLogLine(config_path, "empty.log", "");
  EXPECT_FALSE(FileExists(scratch_ / "empty.log"));
  // A pipe that nobody reads must not hold the agent up.
  ASSERT_EQ(mkfifo((scratch_ / "pipe.log").c_str(), 0600), 0);
  AppendLogLine(config_path, "pipe.log", "line\n");
}

TEST_F(ActivityLogTest, EntriesOfManyThreadsStayWhole) {
  Change([](Settings* s) { s->log_success = true; });
  constexpr int kThreads = 4;
  constexpr int kEntries = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < kEntries; ++i) {
        log_.WriteLogFormat(peer_, LogKind::kSuccess, "thread %d says %03d\n", t, i);
        if (i % 50 == 0) Change([i](Settings* s) { s->log_fails = i % 100 == 0; });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::string expected;
  for (int i = 0; i < kThreads * kEntries; ++i) {
    expected += "[99/99/9999 99:99:99]\t 999.999.999.999\t thread 9 says 999\n";
  }
  EXPECT_EQ(Masked(ReadFile(scratch_ / "ok.log")), expected);
}

}  // namespace
}  // namespace zem
