// SPDX-License-Identifier: BSD-2-Clause
#include "core/connection_log.h"

#include <algorithm>

namespace zem {

void ConnectionLog::Write(std::string_view message, uint32_t peer, Bucket* bucket) {
  const int64_t now = clock_();
  bucket->level = std::min(kFull, bucket->level + (now - bucket->level_at));
  bucket->level_at = now;
  if (bucket->level >= kEntry) {
    bucket->level -= kEntry;
    log_->WriteLog(message, peer, bucket->kind);
    return;
  }
  if (bucket->left_out++ == 0) bucket->left_out_since = now;
}

void ConnectionLog::TellLeftOut(int64_t now, Bucket* bucket) {
  constexpr int64_t kPause = 1000;
  if (bucket->left_out == 0 || now - bucket->left_out_since < kPause) return;
  log_->WriteLogFormat(0, bucket->kind, "Entries of %u %s connections left out\n", bucket->left_out,
                       bucket->name);
  bucket->left_out = 0;
}

void ConnectionLog::TellLeftOut() {
  const int64_t now = clock_();
  TellLeftOut(now, &accepted_);
  TellLeftOut(now, &rejected_);
  TellLeftOut(now, &unserved_);
}

}  // namespace zem
