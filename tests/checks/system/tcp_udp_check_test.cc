// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/tcp_udp_check.h"

#include <cerrno>
#include <chrono>

#include "checks/system/loopback.h"
#include "checks/system/scratch.h"
#include "text/system_error.h"

namespace zem {
namespace {

using namespace std::string_literals;

// The reply with the elapsed time, a figure of its own, taken out of its second line.
std::string WithoutTime(const std::string& reply, int* milliseconds) {
  *milliseconds = -1;
  if (reply.rfind("200\n", 0) != 0) return reply;
  const size_t end = reply.find('\n', 4);
  *milliseconds = atoi(reply.substr(4, end - 4).c_str());
  return "200" + reply.substr(end);
}

std::string Tcp(const std::string& port, const std::string& timeout, const std::string& data,
                const std::string& size, int* milliseconds) {
  const std::string lines = "127.0.0.1\n" + port + "\n" + timeout + "\n" + data + "\n" + size;
  return WithoutTime(Answer(CheckTcp, {}, lines + "\n\r"), milliseconds);
}

std::string Udp(const std::string& port, const std::string& timeout, const std::string& attempts,
                const std::string& data, const std::string& size, int* milliseconds) {
  std::string lines = "127.0.0.1\n" + port + "\n" + timeout + "\n" + attempts + "\n";
  lines += data + "\n" + size + "\n\r";
  return WithoutTime(Answer(CheckUdp, {}, lines), milliseconds);
}

TEST(TcpCheck, TellsWhatTheServerDid) {
  const auto nothing = [](int) {};
  const auto banner = [](int peer) {
    usleep(50000);
    send(peer, "220 ready\r\n", 11, 0);
  };
  const auto echo = [](int peer) {
    char bytes[100];
    const ssize_t count = recv(peer, bytes, sizeof(bytes), 0);
    send(peer, bytes, static_cast<size_t>(count), 0);
    recv(peer, bytes, sizeof(bytes), 0);
  };
  const auto silence = [](int peer) { ReceiveAll(peer); };
  const auto reset = [](int peer) {
    usleep(100000);  // an earlier one could end the connecting itself, which has a reply of its own
    const linger at_once = {1, 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
  };
  const struct {
    const char* name;
    std::function<void(int)> server;
    std::string timeout;
    std::string data;
    std::string size;
    std::string reply;
    int least_ms;
  } cases[] = {
      {"banner", banner, "5000", "", "100", "200\n220 ready%0D%0A\n", 50},
      {"default time-out", banner, "0", "", "100", "200\n220 ready%0D%0A\n", 50},
      {"empty number", banner, "", "", "3", "200\n220\n", 50},
      {"echo", echo, "5000", " GET%0D%0A%0a%0D ", "100", "200\n GET%0D%0A%0a%0D \n", 0},
      {"every byte", echo, "5000", "a\0\xff\x80z"s, "100", "200\na\0\xff\x80z\n"s, 0},
      {"nothing wanted", silence, "5000", "x", "0", "200\n\n", 0},
      {"less than nothing", nothing, "5000", "", "-5", "200\n\n", 0},
      {"silence", silence, "300", "x", "10", "301\nTimeout\n0\n", -1},
      {"closed at once", nothing, "5000", "", "10", "301\n\n0\n", -1},
      {"reset", reset, "5000", "", "10", "301\n"s + SystemErrorText(ECONNRESET).CStr() + "\n-5\n",
       -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const TcpServer server(c.server);
    const Stopwatch watch;
    int milliseconds = 0;
    EXPECT_EQ(Tcp(server.Port(), c.timeout, c.data, c.size, &milliseconds), c.reply);
    EXPECT_GE(milliseconds, c.least_ms);
    EXPECT_LE(milliseconds, watch.Seconds() * 1000 + 1);
    EXPECT_LT(watch.Seconds(), 10);
  }
}

TEST(TcpCheck, TakesOnlyTheFirstPieceOfAFlood) {
  const TcpServer server([](int peer) {
    const std::string flood(1 << 20, 'f');
    send(peer, flood.data(), flood.size(), MSG_NOSIGNAL);
  });
  usleep(50000);
  int milliseconds = 0;
  const std::string reply = Tcp(server.Port(), "5000", "", "100000", &milliseconds);
  EXPECT_EQ(reply.rfind("200\nf", 0), 0u);
  EXPECT_GT(reply.size(), 5u);
  EXPECT_LE(reply.size(), 5u + 8192u);
}

TEST(TcpCheck, ReportsFailures) {
  const std::string closed = Bound(SOCK_STREAM).PortText();
  int ms = 0;
  const std::string refused = "301\n"s + SystemErrorText(EINPROGRESS).CStr() + "\n-6\n";
  EXPECT_EQ(Tcp(closed, "1000", "x", "5", &ms), refused);
  EXPECT_EQ(Tcp(closed, "-1", "x", "5", &ms), "301\nInvalid argument\n-6\n");
  const char* lost = "301\nCannot resolve server name to IP address\n-2\n";
  EXPECT_EQ(Answer(CheckTcp, {}, "two words\n80\n0\n\n0\n"), lost);
  EXPECT_EQ(Answer(CheckTcp, {}, "\r"), lost);  // empty lines are numbers
  for (const char* lines : {"h\nport\n0\n\n0\n", "h\n80\n1.5\n\n0\n", "h\n80\n0\n\nall\n",
                            "h\n0x50\n0\n\n0\n", "h\n80\n+1\n\n0\n"}) {
    EXPECT_EQ(Answer(CheckTcp, {}, lines), "Wrong parameter") << lines;
  }
}

TEST(TcpCheck, CountsPortsModulo65536) {
  const TcpServer server([](int peer) { send(peer, "hi", 2, 0); });
  int ms = 0;
  EXPECT_EQ(Tcp(std::to_string(atoi(server.Port().c_str()) - 65536), "0", "", "9", &ms),
            "200\nhi\n");
}

TEST(UdpCheck, TellsWhatTheServerDid) {
  const auto echo = [](const std::string& text) { return text; };
  const auto nothing = [](const std::string&) { return ""s; };
  // FreeBSD sends no datagram above 9,216 bytes unasked.
  const auto flood = [](const std::string&) { return std::string(9000, 'f'); };
  const struct {
    const char* name;
    std::function<std::string(const std::string&)> server;
    int served;
    std::string attempts;
    std::string data;
    std::string size;
    std::string reply;
  } cases[] = {
      {"echo", echo, 1, "1", " ping%0A\0\xff "s, "100", "200\n ping%0A\0\xff \n"s},
      {"cut to the wanted size", echo, 1, "1", "ping", "2", "200\npi\n"},
      {"cut to the buffer", flood, 1, "1", "x", "100000", "200\n" + std::string(8192, 'f') + "\n"},
      {"nothing wanted", echo, 1, "1", "x", "0", "200\n\n"},
      {"an empty answer is none", nothing, 2, "2", "x", "9", "301\n\n0\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const UdpServer server(c.served, c.server);
    int ms = 0;
    EXPECT_EQ(Udp(server.Port(), "1500", c.attempts, c.data, c.size, &ms), c.reply);
  }
}

// The waits of all cases at once.
TEST(UdpCheck, WaitsAtLeastOneWholeSecondAnAttempt) {
  const struct {
    const char* timeout;
    const char* attempts;
    int made;
    double seconds;
    const char* reply;
  } cases[] = {
      {"500", "2", 2, 2, "301\nTimeout\n0\n"},  {"-7000", "1", 1, 1, "301\nTimeout\n0\n"},
      {"1999", "1", 1, 1, "301\nTimeout\n0\n"}, {"2000", "1", 1, 2, "301\nTimeout\n0\n"},
      {"9000", "-1", 0, 0, "301\n\n0\n"},
  };
  std::vector<std::thread> threads;
  for (const auto& c : cases) {
    threads.emplace_back([&] {
      const Bound silent(SOCK_DGRAM);
      const Stopwatch watch;
      int ms = 0;
      EXPECT_EQ(Udp(silent.PortText(), c.timeout, c.attempts, "x", "9", &ms), c.reply);
      EXPECT_GE(watch.Seconds(), c.seconds) << c.timeout;
      int made = 0;
      char byte = 0;
      while (recv(silent.Fd(), &byte, 1, MSG_DONTWAIT) > 0) ++made;
      EXPECT_EQ(made, c.made) << c.timeout;
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(UdpCheck, TimesTheAttemptThatSucceeded) {
  int asked = 0;
  const UdpServer server(
      2, [&](const std::string& text) { return ++asked == 1 ? std::string(kNoAnswer) : text; });
  const Stopwatch watch;
  int milliseconds = 0;
  EXPECT_EQ(Udp(server.Port(), "1000", "3", "again", "9", &milliseconds), "200\nagain\n");
  EXPECT_LE(milliseconds, watch.Seconds() * 1000 - 999) << "without the attempt before it";
}

TEST(UdpCheck, ReportsFailures) {
  EXPECT_EQ(Answer(CheckUdp, {}, "two words\n80\n0\n2\nx\n0\n"),
            "301\nCannot resolve server name to IP address\n-2\n");
  for (const char* lines : {"h\nport\n0\n1\nx\n0\n", "h\n80\nlong\n1\nx\n0\n",
                            "h\n80\n0\nonce\nx\n0\n", "h\n80\n0\n0\nx\n0\n", "h\n80\n0\n\nx\n0\n",
                            "h\n80\n0\n1\n\n0\n", "h\n80\n0\n1\nx\n1.0\n", "", "\r"}) {
    EXPECT_EQ(Answer(CheckUdp, {}, lines), "Wrong parameter") << lines;
  }
}

}  // namespace
}  // namespace zem
