// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/sockets.h"

#include <fcntl.h>
#include <netdb.h>
#include <sys/resource.h>

#include <cerrno>
#include <vector>

#include "checks/system/loopback.h"
#include "checks/system/scratch.h"
#include "text/system_error.h"

namespace zem {
namespace {

constexpr const char* kNotResolved = "Cannot resolve server name to IP address";

TEST(ResolveIPv4, TakesDottedAddressesAndNames) {
  // A bare system has no list of hosts, and then not even this name.
  const bool known = gethostbyname("localhost") != nullptr;
  const struct {
    const char* host;
    int code;
    uint32_t address;
  } cases[] = {
      {"127.0.0.1", 1, 0x7f000001},
      {"127.1", 1, 0x7f000001},
      {"255.255.255.255", 1, 0xffffffff},
      {"", -2, 0xffffffff},
      {"two words", -2, 0xffffffff},
      {"::1", -2, 0xffffffff},
      {"localhost", known ? 1 : -2, known ? 0x7f000001 : 0xffffffff},
  };
  for (const auto& c : cases) {
    in_addr address = {};
    OvString error("old text");
    EXPECT_EQ(ResolveIPv4(c.host, &address, &error), c.code) << c.host;
    EXPECT_EQ(ntohl(address.s_addr), c.address) << c.host;
    EXPECT_EQ(error, c.code == 1 ? "" : kNotResolved) << c.host;
  }
}

TEST(ConnectTcp, ReportsARefusalByTheThreadsErrorNumber) {
  const int closed_port = Bound(SOCK_STREAM).Port();
  UniqueFd fd;
  OvString error;
  EXPECT_EQ(ConnectTcp(&fd, "127.0.0.1", closed_port, 0, &error), -6);
  EXPECT_EQ(error, SystemErrorText(ECONNREFUSED));
  EXPECT_TRUE(fd.IsOpen());  // the caller closes it
#ifdef __linux__
  // With a time-out the refusal stands in SO_ERROR, and the text is still that of the connect.
  EXPECT_EQ(ConnectTcp(&fd, "127.0.0.1", closed_port, 1000, &error), -6);
  EXPECT_EQ(error, SystemErrorText(EINPROGRESS));
#endif
  EXPECT_EQ(ConnectTcp(&fd, "127.0.0.1", closed_port, -1, &error), -6);
  EXPECT_EQ(error, SystemErrorText(EINVAL));
  EXPECT_EQ(ConnectTcp(&fd, "two words", closed_port, 0, &error), -2);
  EXPECT_FALSE(fd.IsOpen());
}

TEST(ConnectTcp, LeavesTheSocketBlockingOnlyWithoutATimeOut) {
  for (const int timeout_ms : {0, 1000}) {
    const TcpServer server([](int) {});
    UniqueFd fd;
    OvString error;
    ASSERT_EQ(ConnectTcp(&fd, "127.0.0.1", atoi(server.Port().c_str()), timeout_ms, &error), 1);
    EXPECT_EQ((fcntl(fd.Get(), F_GETFL) & O_NONBLOCK) != 0, timeout_ms != 0);
    EXPECT_NE(fcntl(fd.Get(), F_GETFD) & FD_CLOEXEC, 0);
  }
}

#ifdef __linux__
TEST(ConnectTcp, TimesOutWhenNobodyAnswers) {
  const Bound full(SOCK_STREAM);
  listen(full.Fd(), 0);
  // A full queue drops what comes: the connects that still fit stay open meanwhile.
  std::vector<UniqueFd> waiting;
  OvString error;
  int code = 1;
  double seconds = 0;
  for (int i = 0; i < 10 && code == 1; ++i) {
    waiting.emplace_back();
    const Stopwatch watch;
    code = ConnectTcp(&waiting.back(), "127.0.0.1", full.Port(), 250, &error);
    seconds = watch.Seconds();
  }
  EXPECT_EQ(code, 0);
  EXPECT_EQ(error, "Timeout");
  EXPECT_GE(seconds, 0.25);
  EXPECT_LE(seconds, 1);
}
#endif

TEST(Exchanges, WorkWithDescriptorsBeyondTheSetsOfSelect) {
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur < 2000) GTEST_SKIP() << "no room for so many descriptors";
  std::vector<UniqueFd> fillers;
  while (fillers.empty() || fillers.back().Get() < 1500) {
    fillers.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
  }
  const TcpServer server([](int peer) { send(peer, "hello", 5, 0); });
  char buffer[100];
  OvString error;
  EXPECT_EQ(TcpExchange({"127.0.0.1", atoi(server.Port().c_str()), 2000, "", buffer}, &error), 5);
}

TEST(Exchanges, CloseTheirSockets) {
  const int descriptors = CountDescriptors();
  char buffer[10];
  OvString error;
  const int closed_port = Bound(SOCK_STREAM).Port();
  EXPECT_EQ(TcpExchange({"127.0.0.1", closed_port, 100, "x", buffer}, &error), -6);
  EXPECT_EQ(UdpExchange({"127.0.0.1", closed_port, 0, "x", buffer}, &error), 0);
  EXPECT_EQ(UdpExchange({"127.0.0.1", closed_port, 0, std::string(70000, 'x'), {}}, &error), -4);
  EXPECT_EQ(error, SystemErrorText(EMSGSIZE));
  EXPECT_EQ(UdpExchange({"127.0.0.1", closed_port, 0, "four", {}}, &error), 4);
  EXPECT_EQ(error, "");
  EXPECT_EQ(CountDescriptors(), descriptors);

  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none = {0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(TcpExchange({"127.0.0.1", closed_port, 100, "x", buffer}, &error), -3);
  EXPECT_EQ(error, SystemErrorText(EMFILE));
  EXPECT_EQ(UdpExchange({"127.0.0.1", closed_port, 1, "x", buffer}, &error), -3);
  setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace
}  // namespace zem
