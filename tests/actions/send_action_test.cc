// SPDX-License-Identifier: BSD-2-Clause
#include "actions/send_action.h"

#include <cerrno>

#include "checks/system/loopback.h"
#include "checks/system/scratch.h"
#include "text/system_error.h"

namespace zem {
namespace {

using namespace std::string_literals;

std::string Send(const std::string& port, const std::string& protocol, const std::string& first,
                 const std::string& pause, const std::string& second) {
  return Answer(SendTcpUdp, {},
                "127.0.0.1\n" + port + "\n" + protocol + "\n" + first + "\n" + pause + "\n" +
                    second + "\n\r");
}

TEST(SendAction, SendsOneOrTwoTexts) {
  const struct {
    const char* first;
    const char* pause;
    const char* second;
    std::string received;
    double seconds;
  } cases[] = {
      {" one%0D%0A ", "0", "", " one\r\n ", 0},  {"%0D%0A", "9", "", "\r\n", 0},
      {"one,", "1", " two%0A", "one, two\n", 1}, {"one,", "-5", "two", "one,two", 0},
      {"one,", "", "two", "one,two", 0},
  };
  for (const auto& c : cases) {
    std::string received;
    TcpServer server([&](int peer) { received = ReceiveAll(peer); });
    const Stopwatch watch;
    EXPECT_EQ(Send(server.Port(), "0", c.first, c.pause, c.second), "200\nData has been sent");
    EXPECT_GE(watch.Seconds(), c.seconds);
    EXPECT_LT(watch.Seconds(), c.seconds + 5);
    server.Join();
    EXPECT_EQ(received, c.received);
  }
}

TEST(SendAction, AnythingButZeroMeansUdp) {
  for (const char* protocol : {"1", "", "00", "tcp"}) {
    const Bound server(SOCK_DGRAM);
    EXPECT_EQ(Send(server.PortText(), protocol, "a\0b"s, "0", "two"), "200\nData has been sent");
    EXPECT_EQ(ReceiveDatagram(server.Fd()), "a\0b"s);
    EXPECT_EQ(ReceiveDatagram(server.Fd()), "two");
  }
}

TEST(SendAction, ReportsOnlyTheFirstText) {
  const std::string closed = Bound(SOCK_STREAM).PortText();
  EXPECT_EQ(Send(closed, "0", "x", "0", ""), "301\n"s + SystemErrorText(ECONNREFUSED).CStr());
  const std::string too_long(70000, 'x');
  const Bound server(SOCK_DGRAM);
  EXPECT_EQ(Send(server.PortText(), "1", too_long, "0", "x"),
            "301\n"s + SystemErrorText(EMSGSIZE).CStr());
  EXPECT_EQ(Send(server.PortText(), "1", "x", "0", too_long), "200\nData has been sent");
  EXPECT_EQ(Answer(SendTcpUdp, {}, "two words\n9\n1\nx\n0\n\n"),
            "301\nCannot resolve server name to IP address");
}

TEST(SendAction, RefusesWithoutAStatus) {
  for (const char* lines : {"\n9\n0\nx\n0\n\n", "h\n9\n0\n\n0\nx\n", "h\nftp\n0\nx\n0\n\n",
                            "h\n9\n0\nx\n0.5\n\n", ""}) {
    EXPECT_EQ(Answer(SendTcpUdp, {}, lines), "Wrong parameter") << lines;
  }
}

}  // namespace
}  // namespace zem
