// SPDX-License-Identifier: BSD-2-Clause
#include "wire/exchange.h"

#include <algorithm>

#include <fmt/format.h>

#include "model/printable.h"
#include "protocol/cipher.h"
#include "protocol/packet.h"
#include "protocol/zem_const.h"

namespace zem::client {

namespace {

constexpr size_t kPiece = 256 * 1024;

// The first four letters of another program's greeting are a length beyond this.
constexpr size_t kNoLength = 512 * 1024 * 1024;

Failure TimedOut(size_t got) {
  if (got == 0) {
    return {FailureKind::kTimeout, "connected, but no reply in time",
            "the check may take longer than the time-out (-t), or this is not an agent's port"};
  }
  return {FailureKind::kTimeout, fmt::format("the reply stopped after {} bytes", got), ""};
}

// Appends to `*bytes` until it holds `wanted` bytes.
bool ReadUpTo(Connection* connection, size_t wanted, const Deadline& deadline, std::string* bytes,
              Failure* failure) {
  while (bytes->size() < wanted) {
    const std::optional<std::string> piece =
        connection->Receive(std::min(wanted - bytes->size(), kPiece), deadline);
    if (piece && piece->empty()) {
      *failure = {FailureKind::kShortReply,
                  fmt::format("short reply: the connection closed after {} of {} bytes",
                              bytes->size(), wanted),
                  ""};
      return false;
    }
    if (piece) bytes->append(*piece);
    // A peer that drips bytes must not keep this side busy past its time.
    if (!piece || (deadline.HasPassed() && bytes->size() < wanted)) {
      *failure = TimedOut(bytes->size());
      return false;
    }
  }
  return true;
}

// A byte costs a block of the cipher, so a long reply takes seconds; false when the time ran out.
bool DecipherInTime(const Cipher& cipher, std::string_view bytes, const Deadline& deadline,
                    std::string* text) {
  text->resize(bytes.size());
  std::string scratch(kCipherBlock + std::min(kPiece, bytes.size()), '\0');
  for (size_t done = 0; done < bytes.size(); done += kPiece) {
    if (done > 0 && deadline.HasPassed()) return false;
    // A byte depends on the block of ciphertext in front of it alone.
    const size_t lead = std::min(done, kCipherBlock);
    const std::string_view part = bytes.substr(done - lead, lead + kPiece);
    cipher.Decipher(part, scratch.data());
    text->replace(done, part.size() - lead, scratch, lead, part.size() - lead);
  }
  return true;
}

Failure Unreadable(std::string text) {
  return {FailureKind::kUnreadable, std::move(text), "does another program listen on this port?"};
}

Failure TooLarge(const std::string& text) {
  return {FailureKind::kUnreadable, "the reply is too large: " + text, ""};
}

}  // namespace

std::optional<std::string> ReadReply(Connection* connection, SessionKey* key,
                                     const Deadline& deadline, size_t* announced, Failure* failure,
                                     size_t largest) {
  std::string header;
  if (!ReadUpTo(connection, kReplyHeaderBytes, deadline, &header, failure)) {
    if (header.empty() && failure->kind == FailureKind::kShortReply) {
      *failure = {FailureKind::kClosed, "the connection was closed without a reply", ""};
    }
    return std::nullopt;
  }
  const size_t length = DecodeLength(header.data(), kReplyHeaderBytes);
  if (announced != nullptr) *announced = length;
  if (length >= kNoLength) {
    *failure =
        Unreadable(fmt::format("the answer is no reply: it begins with \"{}\", a length of {}",
                               Printable(header), length));
    return std::nullopt;
  }
  if (length > largest) {
    *failure = TooLarge(fmt::format("{} bytes, at most {} are read", length, largest));
    return std::nullopt;
  }
  std::string bytes;
  if (!ReadUpTo(connection, length, deadline, &bytes, failure)) return std::nullopt;
  std::string text;
  if (!DecipherInTime(key->Schedule(), bytes, deadline, &text)) {
    *failure = {FailureKind::kTimeout,
                fmt::format("no time was left to decipher the reply of {} bytes", length),
                "allow more with -t"};
    return std::nullopt;
  }
  if (text.empty() || text.back() != '\r') {
    *failure = Unreadable("the reply has no end mark");
    return std::nullopt;
  }
  if (std::count(text.begin(), text.end(), '\n') > kMostReplyLines) {
    *failure = TooLarge(fmt::format("more than {} lines", kMostReplyLines));
    return std::nullopt;
  }
  text.pop_back();
  return text;
}

}  // namespace zem::client
