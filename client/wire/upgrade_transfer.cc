// SPDX-License-Identifier: BSD-2-Clause

#include <thread>

#include "protocol/digest.h"
#include "wire/exchange.h"
#include "wire/reply_text.h"

namespace zem::client {

namespace {

// The agent takes what comes behind the program in one receive for the whole digest. So the
// program has to be gone from this side, and read on the other, before the digest is sent.
constexpr Milliseconds kSettle{1000};

bool SendProgram(Connection* connection, std::string_view program, const Deadline& deadline,
                 const Progress& progress, Failure* failure) {
  constexpr size_t kPiece = 64 * 1024;
  for (size_t sent = 0; sent < program.size();) {
    const std::string_view piece = program.substr(sent, kPiece);
    if (!connection->Send(piece, deadline, failure)) return false;
    sent += piece.size();
    if (progress) progress(sent, program.size());
  }
  if (!connection->Drain(deadline) || deadline.Left() < kSettle) {
    *failure = {FailureKind::kTimeout, "the program was not transferred in time",
                "allow more time with -t; the agent keeps its old program"};
    return false;
  }
  std::this_thread::sleep_for(kSettle);
  return true;
}

bool SendDigest(Connection* connection, SessionKey* key, std::string_view program,
                const Deadline& deadline, Failure* failure) {
  RunningMd5 md5;
  md5.Update(program);
  const OvString digest = md5.Finish();
  char enciphered[kMd5Bytes];
  key->Schedule().Encipher(digest, enciphered);
  return connection->Send({enciphered, sizeof(enciphered)}, deadline, failure);
}

}  // namespace

Exchange TransferUpgrade(const Question& question, std::string_view program,
                         const Progress& progress) {
  const Deadline& deadline = question.deadline;
  Exchange exchange;
  Connection connection;
  const SessionKeyPtr key = FreshSessionKey();
  const Clock::time_point start = Clock::now();
  if (!AskOn(&connection, key.get(), question, &exchange) || !ParseReply(exchange.reply).IsDone()) {
    return exchange;
  }
  exchange.reply.clear();
  Failure failure;
  const bool sent = SendProgram(&connection, program, deadline, progress, &failure) &&
                    SendDigest(&connection, key.get(), program, deadline, &failure);
  // A connection that broke may still hold the agent's reason.
  if (sent || failure.kind == FailureKind::kClosed) {
    Failure reading;
    std::optional<std::string> reply =
        ReadReply(&connection, key.get(), deadline, &exchange.reply_bytes, &reading);
    failure = sent ? reading : failure;
    if (reply) {
      exchange.reply = std::move(*reply);
      failure = Failure();
    }
  }
  exchange.failure = failure;
  if (failure.kind == FailureKind::kClosed) {
    exchange.failure.hint = "the transfer broke off; the agent keeps its old program";
  }
  exchange.elapsed = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
  return exchange;
}

}  // namespace zem::client
