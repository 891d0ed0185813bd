// SPDX-License-Identifier: BSD-2-Clause
// A reply's plaintext taken apart: the status, if there is one, and the lines behind it.
//
// A few refusals ("Wrong parameter") come without a status line; everything is in the lines then.
// Threads: as any value.

#ifndef ZEM_CLIENT_WIRE_REPLY_TEXT_H_
#define ZEM_CLIENT_WIRE_REPLY_TEXT_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zem::client {

inline constexpr int kStatusDone = 200;
inline constexpr int kStatusFailed = 300;
inline constexpr int kStatusUnavailable = 301;
inline constexpr int kStatusUpgradeBusy = 302;
inline constexpr int kStatusVoid = 500;
inline constexpr int kStatusWrongParameters = 501;
inline constexpr int kStatusNoEndMark = 502;
inline constexpr int kStatusNotAllowed = 600;

struct Reply {
  std::optional<int> status;
  std::vector<std::string> lines;  // without the status line

  // Line `number`, counted from 1; empty when there are fewer.
  std::string_view Line(size_t number) const;
  bool IsDone() const { return status == kStatusDone; }
  // The lines in one, for messages.
  std::string Message() const;
};

// `text` is without its end mark.
Reply ParseReply(std::string_view text);

// What a status means to a person.
const char* StatusMeaning(int status);

}  // namespace zem::client

#endif  // ZEM_CLIENT_WIRE_REPLY_TEXT_H_
