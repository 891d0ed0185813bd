// SPDX-License-Identifier: BSD-2-Clause
#include "actions/send_action.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>

#include "checks/system/pause.h"
#include "checks/system/sockets.h"
#include "protocol/escape.h"
#include "text/system_error.h"

namespace zem {

namespace {

constexpr const char* kSent = "Data has been sent";

}  // namespace

void SendTcpUdp(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const OvString host = request.GetLine(1);
  const auto port = request.GetNumberLine(2);
  const bool stream = request.GetLine(3) == "0";
  const OvString first = UnescapeLineBreaks(request.GetLine(4, Trim::kNo));
  const auto pause_seconds = request.GetNumberLine(5);
  const OvString second = UnescapeLineBreaks(request.GetLine(6, Trim::kNo));
  if (host.IsEmpty() || first.IsEmpty() || !port || !pause_seconds) {
    return reply->ReplaceText(kWrongParameter);
  }
  SendSocket socket(stream ? SendSocket::Kind::kStream : SendSocket::Kind::kDatagram);
  if (socket.Open(host, *port, 0) != socket_code::kDone || socket.Send(first) <= 0) {
    return reply->Refuse(status::kUnavailable, socket.Error());
  }
  if (!second.IsEmpty()) {
    PauseSeconds(*pause_seconds);
    (void)socket.Send(second);  // deliberate: what becomes of the second text is not reported
  }
  reply->SetStatus(status::kDone).Append(kSent);
}

int SendSocket::Open(const OvString& host, int32_t port, int32_t timeout_ms) {
  Close();
  if (kind_ == Kind::kDatagram) return OpenDatagram(host, port);
  return ConnectTcp(&fd_, {.host = host, .port = port, .timeout = timeout_ms}, &error_);
}

int SendSocket::OpenDatagram(const OvString& host, int32_t port) {
  sockaddr_in endpoint;
  const int resolved = ResolveEndpoint(host, port, &endpoint, &error_);
  if (resolved != socket_code::kDone) return resolved;
  fd_.Reset(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd_.IsOpen()) {
    error_ = SystemErrorText(errno);
    return socket_code::kNoSocket;
  }
  if (connect(fd_.Get(), reinterpret_cast<const sockaddr*>(&endpoint), sizeof(endpoint)) != 0) {
    error_ = SystemErrorText(errno);
    return socket_code::kConnectFailed;
  }
  return socket_code::kDone;
}

int SendSocket::Send(std::string_view text) {
  error_.Clear();
  if (text.empty()) return 0;
  const bool known = kind_ == Kind::kDatagram || own_.Register(fd_.Get());
  const ssize_t sent = known ? send(fd_.Get(), text.data(), text.size(), MSG_NOSIGNAL) : -1;
  if (sent >= 0) return static_cast<int>(sent);
  error_ = SystemErrorText(errno);
  return socket_code::kSendFailed;
}

void SendSocket::Close() {
  error_.Clear();
  fd_.Reset();
  own_.End();
}

}  // namespace zem
