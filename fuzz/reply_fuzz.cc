// SPDX-License-Identifier: BSD-2-Clause
// What an agent that lies may send to the client, in any pieces: how it is cut makes no difference,
// memory grows with what arrives and not with what is announced, no byte is taken beyond the reply.
//
// The first byte of an input is flags (1: the rest is a reply's text, to be sent properly; 2: the
// peer falls silent at the end, where it otherwise closes), the second chooses the cuts.
#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <optional>
#include <string>

#include "fuzz.h"
#include "protocol/packet.h"
#include "wire/exchange.h"
#include "wire/reply_text.h"

namespace zem::client {
namespace {

constexpr size_t kHeader = kReplyHeaderBytes;

struct Peer {
  std::string_view bytes;
  bool falls_silent = false;
  uint32_t cuts = 0;  // 0 = sends everything at once
  size_t sent = 0;

  size_t NextPiece() {
    if (cuts == 0) return bytes.size();
    cuts = cuts * 1'664'525 + 1'013'904'223;
    const uint32_t scale = 1U << (cuts >> 28);
    return 1 + (cuts >> 8) % scale;
  }
};

Peer peer;

// Bytes on the heap since the count began, and the most there ever were.
bool counting = false;
int64_t held = 0;
int64_t most_held = 0;

void OnMalloc(const volatile void*, size_t size) {
  if (!counting) return;
  held += static_cast<int64_t>(size);
  most_held = std::max(most_held, held);
}

void OnFree(const volatile void* pointer) {
  if (!counting || pointer == nullptr) return;
  held -= static_cast<int64_t>(__sanitizer_get_allocated_size(pointer));
}

struct Outcome {
  std::optional<std::string> text;
  size_t announced = 0;
  FailureKind kind = FailureKind::kNone;
  std::string reason;
  bool operator==(const Outcome&) const = default;
};

Outcome Read(std::string_view bytes, bool falls_silent, uint32_t cuts, SessionKey* key) {
  peer = {.bytes = bytes, .falls_silent = falls_silent, .cuts = cuts, .sent = 0};
  Connection connection;
  Failure failure;
  Outcome outcome;
  const Deadline deadline{Milliseconds(3'600'000)};
  held = most_held = 0;
  counting = true;
  outcome.text = ReadReply(&connection, key, deadline, &outcome.announced, &failure);
  counting = false;
  outcome.kind = failure.kind;
  outcome.reason = failure.text;
  FUZZ_CHECK(most_held <= static_cast<int64_t>(16 * 1024 + 5 * peer.sent));
  FUZZ_CHECK(outcome.text.has_value() == (outcome.kind == FailureKind::kNone));
  FUZZ_CHECK(outcome.text.has_value() || !outcome.reason.empty());
  const size_t allowed = outcome.announced > kLargestReply ? 0 : outcome.announced;
  FUZZ_CHECK(peer.sent <= kHeader + allowed);
  return outcome;
}

// By the rules, with everything at hand at once.
Outcome ReadSlowly(std::string_view bytes, bool falls_silent, SessionKey* key) {
  Outcome outcome;
  const FailureKind cut = falls_silent ? FailureKind::kTimeout : FailureKind::kShortReply;
  if (bytes.size() < kHeader) {
    outcome.kind = bytes.empty() && !falls_silent ? FailureKind::kClosed : cut;
    return outcome;
  }
  for (size_t i = kHeader; i-- > 0;) {
    outcome.announced = outcome.announced * 256 + static_cast<unsigned char>(bytes[i]);
  }
  bytes.remove_prefix(kHeader);
  if (outcome.announced > 64 * 1024 * 1024) {
    outcome.kind = FailureKind::kUnreadable;
  } else if (bytes.size() < outcome.announced) {
    outcome.kind = cut;
  } else {
    std::string text(outcome.announced, '\0');
    key->Schedule().Decipher(bytes.substr(0, outcome.announced), text.data());
    if (text.ends_with('\r')) {
      outcome.text = text.substr(0, text.size() - 1);
    } else {
      outcome.kind = FailureKind::kUnreadable;
    }
  }
  return outcome;
}

// Nothing of the text is lost when it is taken apart.
void TryText(const std::string& text) {
  const Reply reply = ParseReply(text);
  std::string joined;
  if (reply.status) joined = text.substr(0, 3) + "\n";
  for (const std::string& line : reply.lines) joined += line + "\n";
  if (!text.ends_with('\n') && !text.empty()) joined.pop_back();
  FUZZ_CHECK(joined == text);
  FUZZ_CHECK(!reply.status || std::to_string(1000 + *reply.status).substr(1) == text.substr(0, 3));
  FUZZ_CHECK(reply.Line(0).empty() && reply.Line(reply.lines.size() + 1).empty());
  FUZZ_CHECK(reply.Message().size() <= 2 * text.size());
}

}  // namespace

// In place of the real one, which would need a socket.
std::optional<std::string> Connection::Receive(size_t most, const Deadline&) {
  constexpr size_t kLargestPiece = 256 * 1024;
  FUZZ_CHECK(most > 0 && most <= kLargestPiece);
  const std::string_view rest = peer.bytes.substr(peer.sent);
  if (rest.empty() && peer.falls_silent) return std::nullopt;
  const std::string_view piece = rest.substr(0, std::min(most, peer.NextPiece()));
  peer.sent += piece.size();
  return std::string(piece);
}

}  // namespace zem::client

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zem::client;
  static const zem::SessionKeyPtr key = zem::MakeSessionKey("key");
  static const int hooked = __sanitizer_install_malloc_and_free_hooks(OnMalloc, OnFree);
  FUZZ_CHECK(hooked != 0);
  if (size < 2) return 0;
  std::string bytes(zem::Text(data + 2, size - 2));
  if ((data[0] & 1) != 0) {
    bytes = zem::BuildPacket(bytes + "\r", key->Schedule(), kHeader).View();
  }
  const bool falls_silent = (data[0] & 2) != 0;
  const Outcome whole = Read(bytes, falls_silent, 0, key.get());
  const Outcome cut = Read(bytes, falls_silent, data[1] + 1U, key.get());
  FUZZ_CHECK(cut == whole);
  const Outcome expected = ReadSlowly(bytes, falls_silent, key.get());
  FUZZ_CHECK(whole.text == expected.text && whole.kind == expected.kind);
  FUZZ_CHECK(whole.announced == expected.announced);
  if (whole.text) TryText(*whole.text);
  return 0;
}
