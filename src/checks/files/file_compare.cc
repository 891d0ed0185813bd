// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/file_compare.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "checks/files/file_macros.h"
#include "checks/files/regular_file.h"
#include "text/file_info.h"

namespace zem {

namespace {

constexpr const char* kNoFile = "File doesn`t exist";
constexpr const char* kTooLarge = "The size of the second file cannot exceed 8Mb";
constexpr const char* kFailure = "I/O Error";

constexpr int64_t kLargestInner = 8388608;

void ReplyWithAnswer(Answer answer, AgentReply* reply) {
  if (answer == Answer::kFailed) return reply->Refuse(status::kUnavailable, kFailure);
  reply->SetStatus(status::kDone).AddBool(answer == Answer::kYes);
}

// The line that says whether the macros of the first file's name are resolved; 0 for a mode that
// is none.
size_t FirstMacroLine(const OvString& mode) {
  if (mode == "1" || mode == "4") return 12;
  if (mode == "2") return 9;
  return mode == "3" ? 11 : 0;
}

void AnswerMatch(const AgentRequest& request, const OvString& first, AgentReply* reply) {
  OvString second = request.GetLine(3);
  if (request.GetFlagLine(13)) second = ResolveFileMacros(second);
  if (!IsRegularFile(second)) return reply->Refuse(status::kUnavailable, kNoFile);
  const MatchQuery query = {.time = request.GetFlagLine(4),
                            .size = request.GetFlagLine(5),
                            .contents = request.GetFlagLine(6)};
  ReplyWithAnswer(MatchFiles(first, second, query), reply);
}

// Deliberate: in this mode the second file's name is used as it is given, whatever its macro flag
// (line 10) says.
void AnswerInnerFile(const AgentRequest& request, const OvString& first, AgentReply* reply) {
  const OvString second = request.GetLine(3);
  if (!IsRegularFile(second)) return reply->Refuse(status::kUnavailable, kNoFile);
  if (FileSize(second) > kLargestInner) {
    reply->Refuse(status::kUnavailable, kTooLarge);
    return;
  }
  // Room for one byte too many shows a file that grows, and a size that the system does not tell.
  constexpr size_t kRoom = static_cast<size_t>(kLargestInner) + 1;
  const UniqueFd file = OpenRegularFile(second);
  const std::unique_ptr<char[]> inner = MakeBuffer(kRoom);
  if (!file.IsOpen() || inner == nullptr) {
    ReplyWithAnswer(Answer::kFailed, reply);
    return;
  }
  const ReadResult whole = ReadBlock(file.Get(), inner.get(), kRoom);
  if (whole.failed) {
    ReplyWithAnswer(Answer::kFailed, reply);
  } else if (whole.bytes == kRoom) {
    reply->Refuse(status::kUnavailable, kTooLarge);
  } else if (whole.bytes == 0) {
    ReplyWithAnswer(Answer::kYes, reply);
  } else {
    ReplyWithAnswer(FindTextInFile(first, {inner.get(), whole.bytes}, {}), reply);
  }
}

void AnswerText(const AgentRequest& request, const OvString& first, AgentReply* reply) {
  const TextSearchOptions options = {.case_sensitive = request.GetFlagLine(4),
                                     .whole_word = request.GetFlagLine(5)};
  ReplyWithAnswer(FindTextInFile(first, request.GetLine(3), options), reply);
}

}  // namespace

Answer CompareContents(const OvString& first, const OvString& second) {
  const UniqueFd files[] = {OpenRegularFile(first), OpenRegularFile(second)};
  const std::unique_ptr<char[]> buffers[] = {MakeBuffer(kReadBlock), MakeBuffer(kReadBlock)};
  if (!files[0].IsOpen() || !files[1].IsOpen() || buffers[0] == nullptr || buffers[1] == nullptr) {
    return Answer::kFailed;
  }
  for (;;) {
    const ReadResult a = ReadBlock(files[0].Get(), buffers[0].get(), kReadBlock);
    const ReadResult b = ReadBlock(files[1].Get(), buffers[1].get(), kReadBlock);
    const size_t common = std::min(a.bytes, b.bytes);
    if (memcmp(buffers[0].get(), buffers[1].get(), common) != 0) return Answer::kNo;
    if (a.failed || b.failed) return Answer::kFailed;
    if (common < kReadBlock) return Answer::kYes;
  }
}

Answer MatchFiles(const OvString& first, const OvString& second, const MatchQuery& query) {
  // Compared in 32 bits, as servers have known it.
  if (query.time && static_cast<int32_t>(FileAge(first)) != static_cast<int32_t>(FileAge(second))) {
    return Answer::kNo;
  }
  if (query.size && FileSize(first) != FileSize(second)) return Answer::kNo;
  return query.contents ? CompareContents(first, second) : Answer::kYes;
}

void CheckFileCompare(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  const OvString mode = request.GetLine(1);
  OvString first = request.GetLine(2);
  const size_t macro_line = FirstMacroLine(mode);
  if (macro_line != 0 && request.GetFlagLine(macro_line)) first = ResolveFileMacros(first);
  // Deliberate: a missing file is reported before an unknown mode is.
  if (!IsRegularFile(first)) {
    reply->Refuse(status::kUnavailable, kNoFile);
  } else if (mode == "1") {
    AnswerMatch(request, first, reply);
  } else if (mode == "2") {
    AnswerInnerFile(request, first, reply);
  } else if (mode == "3") {
    AnswerText(request, first, reply);
  } else {
    // Deliberate: mode 4 is reserved. It has macro lines, but nothing is compared.
    reply->Refuse(status::kWrongParameters, kWrongParameter);
  }
}

}  // namespace zem
