// SPDX-License-Identifier: BSD-2-Clause
#include "core/process_control.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <thread>

#include "core/unique_fd.h"
#include "temp_dir.h"

namespace zem {
namespace {

TEST(ProcessControl, NoReplyBeginsOnceTheyAreStoppedAndTheStopWaits) {
  ProcessControl control;
  ASSERT_TRUE(control.BeginReply());
  std::atomic<bool> ended{false};
  std::thread session([&] {
    // The second try to begin tells that the stop has started: now it has to wait for the first.
    while (control.BeginReply()) control.EndReply();
    usleep(50000);
    ended = true;
    control.EndReply();
  });
  control.StopReplies(5);
  EXPECT_TRUE(ended);
  session.join();
  EXPECT_FALSE(control.BeginReply());
  control.ResumeReplies();
  EXPECT_TRUE(control.BeginReply());
  const time_t start = time(nullptr);
  control.StopReplies(1);  // gives up on a reply that never ends
  EXPECT_LE(time(nullptr) - start, 3);
}

TEST(UniqueFd, FilesAreMadeExclusivelyAndNotThroughLinks) {
  const TempDir scratch;
  WriteFile(scratch / "there", "untouched");
  ASSERT_EQ(symlink((scratch / "dangling").c_str(), (scratch / "link").c_str()), 0);
  EXPECT_FALSE(CreateExclusively(OvString(scratch / "there"), 0600).IsOpen());
  EXPECT_FALSE(CreateExclusively(OvString(scratch / "link"), 0600).IsOpen());
  EXPECT_FALSE(CreateExclusively(OvString(scratch / "a").Append('\0'), 0600).IsOpen());
  EXPECT_FALSE(FileExists(scratch / "dangling") || FileExists(scratch / "a"));
  const UniqueFd made = CreateExclusively(OvString(scratch / "new"), 0600);
  ASSERT_TRUE(made.IsOpen());
  EXPECT_NE(fcntl(made.Get(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_TRUE(WriteAll(made.Get(), "bytes"));
  EXPECT_EQ(ReadFile(scratch / "new"), "bytes");
  EXPECT_EQ(ReadFile(scratch / "there"), "untouched");
}

}  // namespace
}  // namespace zem
