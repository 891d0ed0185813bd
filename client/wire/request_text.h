// SPDX-License-Identifier: BSD-2-Clause
// Builds the text of a request: a command line, numbered parameter lines, the end mark.
//
// Shapes:  every line ends in LF, the last one too (the agent does not look at an unterminated
//          settings line), then comes the CR that marks the end.
//          It may carry a new password: it is wiped when it goes, and reserves its room before it
//          takes one, so that no copy stays behind.
// Errors:  std::invalid_argument, with a text for the person who typed the argument.
// Threads: as any value.

#ifndef ZEM_CLIENT_WIRE_REQUEST_TEXT_H_
#define ZEM_CLIENT_WIRE_REQUEST_TEXT_H_

#include <string>
#include <string_view>

namespace zem::client {

class RequestText {
 public:
  explicit RequestText(std::string_view command);
  RequestText(const RequestText&) = delete;
  RequestText& operator=(const RequestText&) = delete;
  ~RequestText();

  // A value that must stay as it is: line breaks would shift every following line and are
  // refused. `what` names the argument in that refusal.
  RequestText& Line(std::string_view value, std::string_view what);
  // The same for a value that the agent trims: blanks at its ends would be lost without a word.
  RequestText& TrimmedLine(std::string_view value, std::string_view what);
  // "name=value", both as they are.
  RequestText& Setting(std::string_view name, std::string_view value);
  // A value that may hold line breaks; they travel escaped.
  RequestText& EscapedLine(std::string_view value);
  RequestText& Number(long long value);
  RequestText& Flag(bool value) { return Number(value ? 1 : 0); }
  RequestText& Empty(int count = 1);

  // The whole text with its end mark.
  std::string Finish() const;
  // Without the end mark: a request that the agent has to refuse.
  const std::string& WithoutEndMark() const { return text_; }

 private:
  // A copy that takes this much more without moving, and so without leaving bytes behind.
  std::string WithRoom(size_t more) const;

  std::string text_;
};

// True when a text holds "%0A" or "%0D" itself: after the way through an escaped line the agent
// finds a line break there.
bool LosesInEscaping(std::string_view text);

}  // namespace zem::client

#endif  // ZEM_CLIENT_WIRE_REQUEST_TEXT_H_
