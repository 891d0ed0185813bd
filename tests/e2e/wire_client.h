// SPDX-License-Identifier: BSD-2-Clause
// The other end of the wire, with and without manners.
//
// Every wait ends after half a minute, so a silent agent fails a test instead of hanging it.

#ifndef ZEM_TESTS_E2E_WIRE_CLIENT_H_
#define ZEM_TESTS_E2E_WIRE_CLIENT_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zem::test {

inline constexpr std::string_view kPassword = "e2e password";
inline constexpr std::string_view kSessionKey = "session-key-0123";

class Connection {
 public:
  // Connects to 127.0.0.1, from `source` (dotted) if given. IsOpen() tells.
  explicit Connection(int port, const char* source = nullptr, int source_port = 0);
  ~Connection();
  Connection(Connection&& other) noexcept;
  Connection& operator=(Connection&&) = delete;

  bool IsOpen() const { return fd_ >= 0; }
  int Fd() const { return fd_; }
  bool Send(std::string_view bytes) const;
  // Exactly `count` bytes, or fewer when the peer closes or nothing comes in time.
  std::string Receive(size_t count) const;
  // A reply's text without its end mark; nothing when the peer closes first or lies.
  std::optional<std::string> ReceiveReply(std::string_view key = kSessionKey) const;
  // True when the peer closes (or resets) within the time, without sending anything.
  bool ClosesWithin(int milliseconds) const;

 private:
  int fd_ = -1;
};

// A request packet for a text that still needs its end mark.
std::string Packet(std::string_view text, std::string_view password = kPassword,
                   std::string_view key = kSessionKey);

// One whole exchange; the CR end mark is added to the text.
std::optional<std::string> Ask(int port, std::string_view text,
                               std::string_view password = kPassword);

std::vector<std::string> Lines(const std::string& text);
// The text with each `from` in it turned into `to`.
std::string Replaced(std::string text, const std::string& from, const std::string& to);

}  // namespace zem::test

#endif  // ZEM_TESTS_E2E_WIRE_CLIENT_H_
