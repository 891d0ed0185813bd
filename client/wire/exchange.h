// SPDX-License-Identifier: BSD-2-Clause
// One question and its answer: connect, send exactly one packet, read the reply.
//
// When a reply fails to come, the likely cause is found out with a second, silent connection.
// Threads: any; each call has its own connection.

#ifndef ZEM_CLIENT_WIRE_EXCHANGE_H_
#define ZEM_CLIENT_WIRE_EXCHANGE_H_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "protocol/session_key.h"
#include "wire/connection.h"
#include "wire/deadline.h"
#include "wire/failure.h"

namespace zem::client {

struct Exchange {
  Failure failure;    // set when there is no reply
  std::string reply;  // plaintext without its end mark
  std::string note;   // what else is worth telling, in one line
  size_t request_bytes = 0;
  size_t reply_bytes = 0;
  std::chrono::microseconds connected{0};  // until the connection stood
  std::chrono::microseconds elapsed{0};    // until the reply was read, or given up

  double ConnectedMillis() const { return static_cast<double>(connected.count()) / 1000; }
  double ElapsedMillis() const { return static_cast<double>(elapsed.count()) / 1000; }
};

// What is asked, whom, and until when. It refers to what its maker keeps.
struct Question {
  const Endpoint& endpoint;
  std::string_view request;
  std::string_view password;
  const Deadline& deadline;
};

// A key of its own for every request, from the system's random source.
SessionKeyPtr FreshSessionKey();

Exchange Ask(const Endpoint& endpoint, std::string_view request, std::string_view password,
             const Deadline& deadline);

// The steps of Ask, for a caller that goes on with the connection.
[[nodiscard]] bool AskOn(Connection* connection, SessionKey* key, const Question& question,
                         Exchange* exchange);

// Says why an agent closed without a reply, as far as a second connection can tell.
Failure DiagnoseClose(const Endpoint& endpoint, const Deadline& deadline);

// A reply of nothing but line feeds would take a hundred times its size once it is taken apart.
inline constexpr ptrdiff_t kMostReplyLines = 2'000'000;

// Reads one reply off a connection: its plaintext without its end mark; nothing, and the reason in
// *failure. No length is trusted: one above the cap is refused before a byte is read, and below it
// memory grows with what really arrives. `announced`, when given, takes the length field.
std::optional<std::string> ReadReply(Connection* connection, SessionKey* key,
                                     const Deadline& deadline, size_t* announced, Failure* failure,
                                     size_t largest = kLargestReply);

// Of a program that replaces an agent's. Both bounds are outside. A size that the agent refuses
// leaves its upgrade slot taken until it restarts, so it is never asked with one.
inline constexpr size_t kProgramTooSmall = 100;
inline constexpr size_t kProgramTooLarge = 0xA00000;

using Progress = std::function<void(size_t sent, size_t total)>;

// An accepted request, the program's bytes in the clear, its digest under the session key, all on
// one connection. The exchange's reply is the last one: the verdict on the program, or the refusal
// to take it.
Exchange TransferUpgrade(const Question& question, std::string_view program,
                         const Progress& progress);

}  // namespace zem::client

#endif  // ZEM_CLIENT_WIRE_EXCHANGE_H_
