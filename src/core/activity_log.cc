// SPDX-License-Identifier: BSD-2-Clause
#include "core/activity_log.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "core/unique_fd.h"
#include "protocol/date_time.h"
#include "text/file_info.h"
#include "text/path.h"

namespace zem {

namespace {

constexpr size_t kEntryBuffer = 512;   // 511 bytes and the terminating zero
constexpr mode_t kLogFileMode = 0666;  // narrowed by the process's umask, as for any log

struct Destinations {
  bool console = false;
  bool ok_log = false;
  bool bad_log = false;
  bool verbose_log = false;

  bool None() const { return !console && !ok_log && !bad_log && !verbose_log; }
};

Destinations DestinationsOf(const Settings& settings, LogKind kind) {
  if (kind == LogKind::kDebug && !settings.verbose_debugging) return {};
  return {.console = settings.run_mode == RunMode::kInteractive,
          .ok_log = kind == LogKind::kSuccess && settings.log_success,
          .bad_log = kind == LogKind::kFailure && settings.log_fails,
          .verbose_log = settings.verbose && !settings.verbose_log_file.IsEmpty()};
}

// "zem" and a tab where there is no peer, so that the columns stay in line.
void FormatSource(uint32_t peer, char (&source)[24]) {
  const in_addr address = {peer};
  if (peer == 0 || inet_ntop(AF_INET, &address, source, sizeof(source)) == nullptr) {
    snprintf(source, sizeof(source), "zem\t");
  }
}

std::string_view Written(const char (&buffer)[kEntryBuffer], int length) {
  if (length < 0) return {};
  const auto wanted = static_cast<size_t>(length);
  return {buffer, wanted < sizeof(buffer) ? wanted : sizeof(buffer) - 1};
}

}  // namespace

void ActivityLog::WriteLog(std::string_view message, uint32_t peer, LogKind kind) {
  const SettingsPtr settings = settings_->Snapshot();
  if (DestinationsOf(*settings, kind).None()) return;
  MutexLock lock(&lock_);
  WriteEntry(*settings, message, peer, kind);
}

void ActivityLog::WriteLogFormat(uint32_t peer, LogKind kind, const char* format, ...) {
  const SettingsPtr settings = settings_->Snapshot();
  if (DestinationsOf(*settings, kind).None()) return;
  char message[kEntryBuffer];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(message, sizeof(message), format, arguments);
  va_end(arguments);
  MutexLock lock(&lock_);
  WriteEntry(*settings, Written(message, length), peer, kind);
}

void ActivityLog::WriteEntry(const Settings& settings, std::string_view message, uint32_t peer,
                             LogKind kind) {
  const struct tm now = LocalTime(time(nullptr));
  char date[48];
  char clock[48];
  char source[24];
  snprintf(date, sizeof(date), "%2.2d/%2.2d/%2.2d", now.tm_mon + 1, now.tm_mday,
           now.tm_year + 1900);
  snprintf(clock, sizeof(clock), "%2.2d:%2.2d:%2.2d", now.tm_hour, now.tm_min, now.tm_sec);
  FormatSource(peer, source);
  const std::string_view text = message.substr(0, kEntryBuffer - 1);
  const int text_length = static_cast<int>(text.size());

  const Destinations to = DestinationsOf(settings, kind);
  char line[kEntryBuffer];
  if (to.console) {
    const int length = snprintf(line, sizeof(line), "[zem][%s]\t %s\t %.*s", clock, source,
                                text_length, text.data());
    const std::string_view written = Written(line, length);
    fwrite(written.data(), 1, written.size(), stdout);
    fflush(stdout);
  }
  const int length = snprintf(line, sizeof(line), "[%s %s]\t %s\t %.*s", date, clock, source,
                              text_length, text.data());
  const std::string_view written = Written(line, length);
  if (to.ok_log) AppendLogLine(settings.config_path, settings.ok_log_file, written);
  if (to.bad_log) AppendLogLine(settings.config_path, settings.bad_log_file, written);
  if (to.verbose_log) AppendLogLine(settings.config_path, settings.verbose_log_file, written);
}

void AppendLogLine(const OvString& config_path, const OvString& file_name, std::string_view line) {
  if (file_name.IsEmpty() || line.empty() || HoldsZeroByte(file_name)) return;
  OvString path;
  if (file_name.Find('/') == 0) path = ExtractFilePath(config_path);
  path.Append(file_name);
  // Non-blocking: a FIFO that nobody reads must not stop the agent under the log lock.
  const UniqueFd file(open(path.CStr(),
                           O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY | O_NONBLOCK | O_CLOEXEC,
                           kLogFileMode));
  if (file.IsOpen()) (void)WriteAll(file.Get(), line);  // a full disk costs the entry, not more
}

}  // namespace zem
