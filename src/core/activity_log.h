// SPDX-License-Identifier: BSD-2-Clause
// The activity log: one entry goes to the console and to up to three files.
//
// Shapes:  an entry is a kind, a peer (IPv4 in network byte order, 0 = none) and a message of at
//          most 511 bytes that carries its own line end.
// Errors:  a file that cannot be opened or written is skipped: logging never fails anybody.
// Threads: any; one lock keeps whole entries together. Files are opened for each entry, so they
//          can be moved or removed at any time.

#ifndef ZEM_CORE_ACTIVITY_LOG_H_
#define ZEM_CORE_ACTIVITY_LOG_H_

#include <cstdint>
#include <string_view>

#include "core/mutex.h"
#include "core/settings_store.h"
#include "text/ovstring.h"

namespace zem {

enum class LogKind : int { kSuccess = 0, kFailure = 1, kDebug = 2, kInformation = 3 };

class ActivityLog {
 public:
  explicit ActivityLog(const SettingsStore* settings) : settings_(settings) {}

  void WriteLog(std::string_view message, uint32_t peer, LogKind kind);
  void WriteLogFormat(uint32_t peer, LogKind kind, const char* format, ...)
      __attribute__((format(printf, 4, 5)));

 private:
  void WriteEntry(const Settings& settings, std::string_view message, uint32_t peer, LogKind kind)
      ZEM_REQUIRES(lock_);

  const SettingsStore* const settings_;
  Mutex lock_;
};

// Appends one line to one file. A bare name lies beside the configuration file. Nothing happens
// when either text is empty.
void AppendLogLine(const OvString& config_path, const OvString& file_name, std::string_view line);

}  // namespace zem

#endif  // ZEM_CORE_ACTIVITY_LOG_H_
