// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/disk_space.h"

#include <sys/time.h>

#include <cerrno>

#include "core/platform.h"
#include "text/file_info.h"
#include "text/system_error.h"

namespace zem {

namespace {

constexpr const char* kNoPath = "Path not specified";

int MillisecondsBetween(const timeval& start, const timeval& end) {
  return static_cast<int>((end.tv_sec - start.tv_sec) * 1000 +
                          (end.tv_usec - start.tv_usec) / 1000);
}

}  // namespace

bool MeasureDiskSpace(const OvString& path, DiskSpace* space) {
  if (HoldsZeroByte(path)) {
    errno = ENOENT;
    return false;
  }
  FileSystemSpace blocks;
  timeval start;
  timeval end;
  // The wall clock, as the server expects it: a clock set back shows as a negative time.
  gettimeofday(&start, nullptr);
  if (!QueryFileSystem(path.CStr(), &blocks)) return false;
  gettimeofday(&end, nullptr);
  const auto block_size = static_cast<double>(blocks.block_size);
  space->total = static_cast<double>(blocks.blocks) * block_size;
  space->free = static_cast<double>(blocks.free_blocks) * block_size;
  space->available = static_cast<double>(blocks.available_blocks) * block_size;
  space->milliseconds = MillisecondsBetween(start, end);
  return true;
}

void CheckDiskSpace(const AgentRequest& request, const RequestContext&, AgentReply* reply) {
  OvString path = request.GetLine(1);
  // Paths may come with the final delimiter of another system: exactly one is cut.
  if (!path.IsEmpty() && path.View().back() == '\\') path.Truncate(path.Length() - 1);
  if (path.IsEmpty()) return reply->Refuse(status::kWrongParameters, kNoPath);
  DiskSpace space;
  if (!MeasureDiskSpace(path, &space)) {
    const OvString reason = SystemErrorText(errno);
    reply->SetStatus(status::kUnavailable);
    if (!reason.IsEmpty()) reply->AddLine(reason, Escape::kYes);
    return;
  }
  reply->SetStatus(status::kDone);
  reply->AddNumber(space.total);
  reply->AddNumber(space.free);
  reply->AddNumber(space.available);
  reply->AddInt(space.milliseconds);
}

}  // namespace zem
