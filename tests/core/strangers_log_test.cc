// SPDX-License-Identifier: BSD-2-Clause
// What strangers can make the agent write, under a clock that the test sets.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "core/connection_log.h"
#include "core/wrong_passwords.h"
#include "temp_dir.h"

namespace zem {
namespace {

int64_t now_ms = 0;

int64_t TestClock() {
  return now_ms;
}

class ConnectionLogTest : public testing::Test {
 protected:
  ConnectionLogTest() : store_(Settings()), log_(&store_) {
    now_ms = 1'000'000;
    (void)store_.TryUpdate([this](Settings* s) {
      s->log_success = s->log_fails = true;
      s->ok_log_file = scratch_ / "ok.log";
      s->bad_log_file = scratch_ / "bad.log";
    });
  }

  // Entries of connections in a log, and what it says behind the address column of others.
  size_t Entries(const char* log, std::string* others) const {
    std::istringstream lines(ReadFile(scratch_ / log));
    size_t count = 0;
    for (std::string line; std::getline(lines, line);) {
      const bool entry = line.find("\t 10.1.2.3\t TCP connection ") != std::string::npos;
      count += entry ? 1U : 0U;
      if (!entry) others->append(line.substr(line.find("\t\t ") + 3)).append("\n");
    }
    return count;
  }

  TempDir scratch_;
  SettingsStore store_;
  ActivityLog log_;
  const uint32_t peer_ = inet_addr("10.1.2.3");
};

TEST_F(ConnectionLogTest, AFloodIsCountedAndHidesNoOtherKind) {
  ConnectionLog connections(&log_, TestClock);
  const auto flood = [&](int rejected) {
    for (int i = 0; i < rejected; ++i) connections.Rejected(peer_);
    connections.TellLeftOut();
  };
  flood(1500);
  connections.Accepted(peer_);
  std::string others;
  EXPECT_EQ(Entries("bad.log", &others), 1000U);
  EXPECT_EQ(Entries("ok.log", &others), 1U);
  EXPECT_EQ(others, "") << "told within the second, not at once";

  now_ms += 999;
  flood(500);  // 99 of them fit
  now_ms += 1;
  flood(0);
  EXPECT_EQ(Entries("bad.log", &others), 1099U);
  EXPECT_EQ(others, "Entries of 901 rejected connections left out\n");

  now_ms += 3'600'000;
  flood(1001);
  now_ms += 1000;
  flood(0);
  flood(0);
  others.clear();
  EXPECT_EQ(Entries("bad.log", &others), 2099U) << "it never holds more than it did at first";
  EXPECT_EQ(others,
            "Entries of 901 rejected connections left out\n"
            "Entries of 1 rejected connections left out\n");
}

std::vector<uint32_t> told;
WrongPasswords* wrong_passwords = nullptr;

// While a syslog keeps one thread waiting, others note and leave.
void TestTeller(uint32_t peer) {
  told.push_back(peer);
  if (told.size() > 1) return;
  wrong_passwords->Note(2);
  wrong_passwords->Tell();
  EXPECT_EQ(told.size(), 1U);
}

TEST(WrongPasswordsTest, AreToldOnceAMinuteAndAddressFromABoundedTable) {
  WrongPasswords passwords(TestClock, TestTeller);
  wrong_passwords = &passwords;
  now_ms = 1'000'000;
  const auto guess = [&](uint32_t peer) {
    passwords.Note(peer);
    passwords.Tell();
  };
  guess(1);
  EXPECT_EQ(told, (std::vector<uint32_t>{1, 2})) << "what came meanwhile is told by the first";
  now_ms += 59'999;
  guess(1);
  EXPECT_EQ(told.size(), 2U);
  now_ms += 1;
  guess(1);
  EXPECT_EQ(told.size(), 3U);
  for (uint32_t peer = 10; peer < 5000; ++peer) guess(peer);
  EXPECT_EQ(told.size(), 3 + WrongPasswords::kMostPeers - 1) << "2 may go, 1 may not";
  guess(1);
  now_ms += 60'000;
  guess(5000);
  EXPECT_EQ(told.back(), 5000U);
}

}  // namespace
}  // namespace zem
