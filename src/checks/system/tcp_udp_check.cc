// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/tcp_udp_check.h"

#include <sys/time.h>

#include <algorithm>
#include <span>

#include "checks/system/sockets.h"
#include "protocol/escape.h"

namespace zem {

namespace {

constexpr int32_t kDefaultTcpTimeoutMs = 120000;
constexpr int32_t kMostBytes = 8192;

// What came of a probe: a code of the socket routines, its text, and the bytes of the answer.
struct Probe {
  explicit Probe(int32_t wanted_bytes)
      : buffer(bytes, static_cast<size_t>(std::clamp(wanted_bytes, 0, kMostBytes))) {}
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;

  // Runs one exchange and keeps its code and the time it took.
  template <typename Exchange>
  void Time(Exchange exchange) {
    timeval start = {};
    timeval end = {};
    gettimeofday(&start, nullptr);
    code = exchange();
    gettimeofday(&end, nullptr);
    elapsed_ms =
        static_cast<int>((end.tv_sec - start.tv_sec) * 1000 + (end.tv_usec - start.tv_usec) / 1000);
  }

  void Report(AgentReply* reply) const {
    if (code > 0) {
      // Without a buffer the code counts something else than bytes received.
      const std::string_view answer(bytes, buffer.empty() ? 0 : static_cast<size_t>(code));
      reply->SetStatus(status::kDone).AddInt(elapsed_ms);
      reply->AddLine(answer, Escape::kYes);
    } else {
      reply->SetStatus(status::kUnavailable).AddLine(error);
      reply->AddInt(code);
    }
  }

  char bytes[kMostBytes];
  std::span<char> buffer;
  int code = 0;
  int elapsed_ms = 0;
  OvString error;
};

}  // namespace

void CheckTcp(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const OvString host = request.GetLine(1);
  const auto port = request.GetNumberLine(2);
  const auto timeout = request.GetNumberLine(3);
  const OvString data = UnescapeLineBreaks(request.GetLine(4, Trim::kNo));
  const auto wanted_bytes = request.GetNumberLine(5);
  if (!port || !timeout || !wanted_bytes) return reply->ReplaceText(kWrongParameter);
  Probe probe(*wanted_bytes);
  const SocketExchange wanted = {.host = host,
                                 .port = *port,
                                 .timeout = *timeout == 0 ? kDefaultTcpTimeoutMs : *timeout,
                                 .data = data,
                                 .buffer = probe.buffer};
  probe.Time([&] { return TcpExchange(wanted, &probe.error); });
  probe.Report(reply);
}

void CheckUdp(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const OvString host = request.GetLine(1);
  const auto port = request.GetNumberLine(2);
  const auto timeout = request.GetNumberLine(3);
  const auto attempts = request.GetNumberLine(4);
  const OvString data = UnescapeLineBreaks(request.GetLine(5, Trim::kNo));
  const auto wanted_bytes = request.GetNumberLine(6);
  if (!port || !timeout || !attempts || !wanted_bytes || *attempts == 0 || data.IsEmpty()) {
    return reply->ReplaceText(kWrongParameter);
  }
  Probe probe(*wanted_bytes);
  const SocketExchange wanted = {.host = host,
                                 .port = *port,
                                 .timeout = std::max(*timeout / 1000, 1),
                                 .data = data,
                                 .buffer = probe.buffer};
  for (int32_t left = *attempts; left > 0 && probe.code <= 0; --left) {
    probe.Time([&] { return UdpExchange(wanted, &probe.error); });
  }
  probe.Report(reply);
}

}  // namespace zem
