// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/file_exists.h"

#include <cstdint>
#include <ctime>
#include <utility>

#include "checks/files/directory_walker.h"
#include "checks/files/file_macros.h"
#include "text/file_info.h"

namespace zem {

namespace {

// Spelled as servers know it.
constexpr const char* kNotFound = "no such file or acess denied";
constexpr const char* kAgeUnit = "min";

// Whole minutes toward zero; a file dated in the future has a negative age. Some file systems keep
// any time they are told: the difference wraps around rather than overflow.
int AgeInMinutes(time_t now, time_t modified) {
  int64_t seconds = 0;
  (void)__builtin_sub_overflow(int64_t{now}, int64_t{modified}, &seconds);
  return static_cast<int>(seconds / 60);
}

}  // namespace

bool ExamineFile(OvString* path, struct stat* info) {
  if (LinkStatPath(*path, info)) return true;
  OvString match = FindFirstMatchingFile(*path);
  if (match.IsEmpty()) return false;
  *path = std::move(match);
  return LinkStatPath(*path, info);
}

void CheckFileExists(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  OvString path = request.GetLine(1);
  if (request.GetFlagLine(7)) path = ResolveFileMacros(path);
  struct stat info;
  if (!ExamineFile(&path, &info)) return reply->Refuse(status::kUnavailable, kNotFound);
  reply->SetStatus(status::kDone);
  reply->AddNumber(static_cast<double>(info.st_size));
  reply->AddTime(info.st_ctime);
  reply->AddTime(info.st_mtime);
  reply->AddLine(path);
  reply->AddLine(kAgeUnit);
  reply->AddInt(AgeInMinutes(time(nullptr), info.st_mtime));
}

}  // namespace zem
