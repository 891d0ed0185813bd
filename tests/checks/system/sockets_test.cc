// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/sockets.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <vector>

#include "checks/system/loopback.h"
#include "checks/system/scratch.h"
#include "text/system_error.h"

namespace zem {
namespace {

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
    code = ConnectTcp(&waiting.back(), {"127.0.0.1", full.Port(), 250}, &error);
    seconds = watch.Seconds();
  }
  EXPECT_EQ(code, 0);
  EXPECT_EQ(error, "Timeout");
  EXPECT_GE(seconds, 0.25);
  EXPECT_LE(seconds, 10);
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
