// SPDX-License-Identifier: BSD-2-Clause
#include "actions/syslog_action.h"

#include <fnmatch.h>

#include "checks/system/loopback.h"
#include "checks/system/scratch.h"

namespace zem {
namespace {

TEST(SyslogDatagram, IsRightToTheByte) {
  const struct {
    int day, month, hour, minute, second;
    int32_t facility, severity;
    const char* text;
    const char* datagram;
  } cases[] = {
      {15, 1, 10, 20, 30, 1, 5, "up", "<13>Jan15 10:20:30 10.1.2.3 OV ZEM: up"},
      {5, 1, 10, 20, 30, 1, 5, "up", "<13>Jan 5 10:20:30 10.1.2.3 OV ZEM: up"},
      {9, 9, 0, 0, 0, 30, 7, "", "<247>Sep 9 00:00:00 10.1.2.3 OV ZEM: "},
      {10, 10, 1, 2, 3, 0, 0, "a\r\nb", "<0>Oct10 01:02:03 10.1.2.3 OV ZEM: a\r\nb"},
      {31, 12, 23, 59, 59, -1, 7, "x", "<-1>Dec31 23:59:59 10.1.2.3 OV ZEM: x"},
      {20, 5, 9, 9, 9, INT32_MAX, 3, "x", "<-5>May20 09:09:09 10.1.2.3 OV ZEM: x"},
  };
  for (const auto& c : cases) {
    struct tm time = {};
    time.tm_mday = c.day;
    time.tm_mon = c.month - 1;
    time.tm_hour = c.hour;
    time.tm_min = c.minute;
    time.tm_sec = c.second;
    const SyslogMessage message = {c.facility, c.severity, "OV ZEM", c.text};
    EXPECT_EQ(SyslogDatagram(message, time, "10.1.2.3"), c.datagram);
  }
}

TEST(SyslogAction, SendsOneDatagram) {
  const Bound server(SOCK_DGRAM);
  const std::string lines =
      " 127.0.0.1\n" + server.PortText() + "\n3\n4\n%0D%0A disk%0D%0Afull 100%0a%0A \n\r";
  EXPECT_EQ(Answer(SendSyslog, {}, lines), "200\nSyslog: Data to 127.0.0.1 has been sent");
  const std::string datagram = ReceiveDatagram(server.Fd());
  const char* form =
      "<28>[A-Z][a-z][a-z][ 1-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9] [0-9]*.[0-9]*.[0-9]*.[0-9]* "
      "OV ZEM: disk\r\nfull 100%0a";
  EXPECT_EQ(fnmatch(form, datagram.c_str(), 0), 0) << datagram;
}

TEST(SyslogAction, ReportsAFailedSendAsSent) {
  EXPECT_EQ(Answer(SendSyslog, {}, "two words\n514\n1\n1\nx\n"),
            "200\nSyslog: Data to two words has been sent");
  EXPECT_EQ(Answer(SendSyslog, {}, "127.0.0.1\n9\n1\n1\n" + std::string(70000, 'x') + "\n"),
            "200\nSyslog: Data to 127.0.0.1 has been sent");
}

TEST(SyslogAction, RefusesWithoutAStatus) {
  for (const char* lines :
       {"\n514\n1\n1\nx\n", "h\nsyslog\n1\n1\nx\n", "h\n514\nkern\n1\nx\n", "h\n514\n1\nhigh\nx\n",
        "h\n514\n1\n8\nx\n", "h\n514\n1\n-1\nx\n", ""}) {
    EXPECT_EQ(Answer(SendSyslog, {}, lines), "Wrong parameter") << lines;
  }
}

}  // namespace
}  // namespace zem
