// SPDX-License-Identifier: BSD-2-Clause
// Sends one or two texts to a TCP or UDP port.
//
// Threads: any; blocks for the connect and for the pause between the texts.

#ifndef ZEM_ACTIONS_SEND_ACTION_H_
#define ZEM_ACTIONS_SEND_ACTION_H_

#include <cstdint>
#include <string_view>

#include "core/own_connections.h"
#include "core/request_context.h"
#include "core/unique_fd.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void SendTcpUdp(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

// One connected socket of either kind. Every operation empties the error text first.
class SendSocket {
 public:
  enum class Kind : int { kStream = 1, kDatagram = 2 };

  explicit SendSocket(Kind kind) : kind_(kind) {}

  // 1, or a code of the socket routines.
  int Open(const OvString& host, int32_t port, int32_t timeout_ms);
  // The count of bytes of one send, 0 for an empty text, or the code of a failed send.
  int Send(std::string_view text);
  void Close();

  const OvString& Error() const { return error_; }

 private:
  int OpenDatagram(const OvString& host, int32_t port);

  const Kind kind_;
  OwnConnection own_;  // in front of the descriptor, so that it ends after it
  UniqueFd fd_;
  OvString error_;
};

}  // namespace zem

#endif  // ZEM_ACTIONS_SEND_ACTION_H_
