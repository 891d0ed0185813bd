// SPDX-License-Identifier: BSD-2-Clause
#include "core/own_connections.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "checks/system/loopback.h"
#include "core/monotonic_clock.h"
#include "core/unique_fd.h"

namespace zem {
namespace {

// Only the agent's own listener can still be about to accept a connection that this end has closed.
// The end of any other may be a local manager's next.
TEST(OwnConnection, IsKeptForHalfAnOpeningToTheAgentAlone) {
  const Bound listener(SOCK_STREAM);
  ASSERT_EQ(listen(listener.Fd(), 8), 0);
  const sockaddr_in address = LoopbackAddress(listener.Port());
  constexpr int64_t kHalfOpenMs = 128'000;
  for (const bool own : {false, true}) {
    SCOPED_TRACE(own);
    SetOwnPort(own ? listener.Port() : 1);
    OwnConnection connection;
    const UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_TRUE(connection.Register(fd.Get()));
    const int64_t before_ms = MonotonicMilliseconds();
    EXPECT_TRUE(EndedOwnConnections(before_ms + 2 * kHalfOpenMs).empty()) << "it is open";
    connection.End();
    const int64_t after_ms = MonotonicMilliseconds();
    EXPECT_EQ(EndedOwnConnections(before_ms + kHalfOpenMs).size(), own ? 0U : 1U);
    const auto ended = EndedOwnConnections(after_ms + kHalfOpenMs + 1);
    ASSERT_EQ(ended.size(), 1U);
    EXPECT_TRUE(IsOwnConnection(ended[0]));
    ForgetOwnConnection(ended[0], after_ms + kHalfOpenMs + 1);
    EXPECT_FALSE(IsOwnConnection(ended[0]));
  }
}

}  // namespace
}  // namespace zem
