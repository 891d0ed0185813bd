// SPDX-License-Identifier: BSD-2-Clause
#include "actions/syslog_action.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "checks/system/sockets.h"
#include "protocol/date_time.h"
#include "protocol/escape.h"

namespace zem {

namespace {

constexpr const char* kSentTo = "Syslog: Data to ";
constexpr const char* kSent = " has been sent";
constexpr const char* kTag = "OV ZEM";
constexpr int32_t kMostSevere = 0;
constexpr int32_t kLeastSevere = 7;

// Deliberate: no blank between the month and a day of two digits ("Jan15 10:20:30"); a day of one
// digit has one in place of its zero ("Jan 5 10:20:30"). Collectors are set up for this form.
OvString Stamp(const struct tm& local_time) {
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  char clock[64];
  snprintf(clock, sizeof(clock), "%2.2d %2.2d:%2.2d:%2.2d", local_time.tm_mday, local_time.tm_hour,
           local_time.tm_min, local_time.tm_sec);
  if (clock[0] == '0') clock[0] = ' ';
  return OvString(kMonths[static_cast<unsigned>(local_time.tm_mon) % 12]).Append(clock);
}

// This host's own address, as its own name resolves; "0.0.0.0" when it does not.
OvString OwnAddress() {
  in_addr address = {};
  char name[255] = "";
  OvString ignored;
  if (gethostname(name, sizeof(name) - 1) != 0 ||
      ResolveIPv4(name, &address, &ignored) != socket_code::kDone) {
    address.s_addr = INADDR_ANY;
  }
  char dotted[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, dotted, sizeof(dotted));
  return dotted;
}

}  // namespace

void SendSyslog(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const OvString host = request.GetLine(1);
  const auto port = request.GetNumberLine(2);
  const auto facility = request.GetNumberLine(3);
  const auto severity = request.GetNumberLine(4);
  const OvString text = UnescapeLineBreaks(request.GetLine(5, Trim::kNo)).Trim();
  if (host.IsEmpty() || !port || !facility || !severity || *severity < kMostSevere ||
      *severity > kLeastSevere) {
    return reply->ReplaceText(kWrongParameter);
  }
  OvString error;
  const SyslogMessage message = {*facility, *severity, kTag, text};
  // Deliberate: only 0 is a failure. A send that failed returns less and is reported as sent.
  if (SyslogSend(host, *port, message, &error) != 0) {
    reply->SetStatus(status::kDone).Append(kSentTo).Append(host).Append(kSent);
  } else {
    reply->Refuse(status::kUnavailable, error);
  }
}

OvString SyslogDatagram(const SyslogMessage& message, const struct tm& local_time,
                        std::string_view sender) {
  // The facility is the server's number and may be anything: the product wraps.
  const uint32_t priority =
      static_cast<uint32_t>(message.facility) * 8 + static_cast<uint32_t>(message.severity);
  OvString datagram("<");
  datagram.AppendInt(static_cast<int32_t>(priority)).Append('>').Append(Stamp(local_time));
  datagram.Append(' ').Append(sender).Append(' ').Append(message.tag).Append(": ");
  return datagram.Append(message.text);
}

int SyslogSend(const OvString& host, int32_t port, const SyslogMessage& message, OvString* error) {
  const OvString datagram = SyslogDatagram(message, LocalTime(time(nullptr)), OwnAddress());
  return UdpExchange({.host = host, .port = port, .data = datagram}, error);
}

}  // namespace zem
