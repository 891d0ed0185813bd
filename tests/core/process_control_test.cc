// SPDX-License-Identifier: BSD-2-Clause
#include "core/process_control.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <thread>

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

}  // namespace
}  // namespace zem
