// SPDX-License-Identifier: BSD-2-Clause
#include "wire/reply_text.h"

#include <algorithm>
#include <utility>

#include "model/words.h"

namespace zem::client {

namespace {

bool IsStatus(std::string_view line) {
  const auto is_digit = [](char byte) { return byte >= '0' && byte <= '9'; };
  return line.size() == 3 && std::all_of(line.begin(), line.end(), is_digit);
}

}  // namespace

std::string_view Reply::Line(size_t number) const {
  return number == 0 || number > lines.size() ? std::string_view() : lines[number - 1];
}

std::string Reply::Message() const {
  std::string message;
  for (const std::string& line : lines) {
    if (line.empty()) continue;
    if (!message.empty()) message.append("; ");
    message.append(line);
  }
  return message;
}

Reply ParseReply(std::string_view text) {
  Reply reply;
  bool first = true;
  for (std::string_view line; TakePiece(&text, "\n", &line);) {
    if (first && IsStatus(line)) {
      reply.status = (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
    } else {
      reply.lines.emplace_back(line);
    }
    first = false;
  }
  return reply;
}

const char* StatusMeaning(int status) {
  static constexpr std::pair<int, const char*> kMeanings[] = {
      {kStatusDone, "done"},
      {kStatusFailed, "failed"},
      {kStatusUnavailable, "not available"},
      {kStatusUpgradeBusy, "another upgrade is running"},
      {kStatusVoid, "unknown or not available on this agent"},
      {kStatusWrongParameters, "wrong parameters"},
      {kStatusNoEndMark, "the request has no end mark"},
      {kStatusNotAllowed, "not allowed by the agent's configuration"}};
  for (const auto& [known, meaning] : kMeanings) {
    if (known == status) return meaning;
  }
  return "unknown status";
}

}  // namespace zem::client
