// SPDX-License-Identifier: BSD-2-Clause
#include "wire/exchange.h"

#include "model/secret.h"
#include "protocol/packet.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr size_t kSessionKeyBytes = 24;

std::chrono::microseconds Since(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
}

bool Converse(Connection* connection, SessionKey* key, const Question& question,
              std::string_view packet, Exchange* exchange) {
  const Endpoint& endpoint = question.endpoint;
  const Deadline& deadline = question.deadline;
  const Clock::time_point start = Clock::now();
  if (!connection->Open(endpoint, deadline.Within(endpoint.connect_time), &exchange->failure)) {
    return false;
  }
  exchange->connected = Since(start);
  // A failed send is no verdict yet: an agent that turns a peer away closes before it reads.
  if (!connection->Send(packet, deadline, &exchange->failure) &&
      exchange->failure.kind == FailureKind::kTimeout) {
    return false;
  }
  exchange->failure = Failure();
  std::optional<std::string> reply = ReadReply(connection, key, deadline, &exchange->reply_bytes,
                                               &exchange->failure, endpoint.largest_reply);
  if (!reply) return false;
  exchange->reply = std::move(*reply);
  return true;
}

}  // namespace

SessionKeyPtr FreshSessionKey() {
  return MakeSessionKey(RandomBytes(kSessionKeyBytes).View());
}

bool AskOn(Connection* connection, SessionKey* key, const Question& question, Exchange* exchange) {
  const OvString packet = BuildRequestPacket(question.request, key->Text(), question.password);
  if (packet.Length() > static_cast<size_t>(kLargestPacketSize)) {
    exchange->failure = {FailureKind::kLocal, "the request is larger than an agent accepts", ""};
    return false;
  }
  exchange->request_bytes = packet.Length();
  const Clock::time_point start = Clock::now();
  const bool answered = Converse(connection, key, question, packet, exchange);
  exchange->elapsed = Since(start);
  if (!answered && exchange->failure.kind == FailureKind::kClosed) {
    exchange->failure = DiagnoseClose(question.endpoint, question.deadline);
  }
  return answered;
}

Exchange Ask(const Endpoint& endpoint, std::string_view request, std::string_view password,
             const Deadline& deadline) {
  Exchange exchange;
  Connection connection;
  const SessionKeyPtr key = FreshSessionKey();
  // The outcome stands in the exchange either way.
  (void)AskOn(&connection, key.get(), {endpoint, request, password, deadline}, &exchange);
  return exchange;
}

Failure DiagnoseClose(const Endpoint& endpoint, const Deadline& deadline) {
  constexpr Milliseconds kPatience{500};
  const std::string what = "the connection was closed without a reply";
  const Deadline probe = deadline.Within(kPatience);
  Connection connection;
  Failure failure;
  if (!connection.Open(endpoint, probe, &failure)) {
    if (failure.kind == FailureKind::kRefused) {
      return {FailureKind::kClosed, what, "the agent has just stopped or is restarting"};
    }
    return {FailureKind::kClosed, what,
            "wrong password, an address the agent does not admit, or not an agent's port"};
  }
  const std::optional<std::string> bytes = connection.Receive(64, probe);
  if (!bytes) {
    if (deadline.HasPassed()) {
      return {FailureKind::kClosed, what,
              "wrong password, an address the agent does not admit, or not an agent's port"};
    }
    return {FailureKind::kClosed, what, "wrong password, or another program's port", true};
  }
  if (bytes->empty()) {
    return {FailureKind::kClosed, what,
            "the agent's connection filter rejects this address (filterlist)"};
  }
  return {FailureKind::kClosed, what, "another program listens there: it speaks first"};
}

}  // namespace zem::client
