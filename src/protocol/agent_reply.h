// SPDX-License-Identifier: BSD-2-Clause
// The answer to one request while it is being written: a status line, then result lines.
//
// Shapes:  every added line ends in LF. A reason appended directly after the status has none; the
//          seal adds it, then the CR end mark.
// Threads: one session's.

#ifndef ZEM_PROTOCOL_AGENT_REPLY_H_
#define ZEM_PROTOCOL_AGENT_REPLY_H_

#include <ctime>
#include <string_view>

#include "protocol/session_key.h"
#include "text/ovstring.h"

namespace zem {

// The three digits of a reply's first line.
namespace status {
inline constexpr const char* kDone = "200";
inline constexpr const char* kFailed = "300";
inline constexpr const char* kUnavailable = "301";
inline constexpr const char* kUpgradeBusy = "302";
inline constexpr const char* kUnknown = "500";
inline constexpr const char* kWrongParameters = "501";
inline constexpr const char* kNoEndMark = "502";
inline constexpr const char* kNotAllowed = "600";
}  // namespace status

// What most commands say of a bad parameter. Deliberate: the four of the network say it alone, in
// place of the status line; servers know them by it.
inline constexpr const char* kWrongParameter = "Wrong parameter";

enum class Escape : bool { kNo, kYes };

class AgentReply {
 public:
  // Begins a reply under the key of the request it answers; an empty status begins it empty.
  void StartReply(std::string_view status, SessionKeyPtr key);

  const OvString& Text() const { return text_; }

  // Replaces everything so far with the status and LF.
  AgentReply& SetStatus(std::string_view status);
  // Replaces everything so far with `text`: such a reply carries no status line at all.
  void ReplaceText(std::string_view text) { text_ = text; }
  // Appends bytes with no line end.
  AgentReply& Append(std::string_view text, Escape escape = Escape::kNo);

  // The whole answer of a command that fails.
  void Refuse(std::string_view status, std::string_view reason) {
    SetStatus(status).Append(reason);
  }

  void EnsureNewLine();
  void AddLine(std::string_view text, Escape escape = Escape::kNo);
  void AddBool(bool flag) { AddLine(flag ? "1" : "0"); }
  void AddInt(int number);
  // No decimals, padded with blanks on the left to six characters.
  void AddNumber(double number);
  // Four decimals.
  void AddFraction(double number);
  // The local-time stamp of a moment, or of fields that are local time already.
  void AddTime(time_t moment);
  void AddTimestamp(const struct tm& fields);
  // At most 2,047 bytes: a text of exactly 2,048 loses its last byte, a longer one adds no line.
  void AddFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Ends the text with LF and CR and makes the packet of it.
  OvString SealReply();

 private:
  OvString text_;
  SessionKeyPtr key_;
};

}  // namespace zem

#endif  // ZEM_PROTOCOL_AGENT_REPLY_H_
