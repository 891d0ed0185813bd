// SPDX-License-Identifier: BSD-2-Clause
// The figures of one probe, and the text that Prometheus reads them from.
//
// Shapes:  every metric is one row of a table: name, type, help. A series that is set twice keeps
//          its first value: the same one twice would make the whole page invalid.
// Threads: one at a time.

#ifndef ZEM_EXPORTER_PAGE_H_
#define ZEM_EXPORTER_PAGE_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace zem::exporter {

enum class Metric : uint8_t {
  kProbeSuccess,
  kProbeDuration,
  kUp,
  kProbeFailure,
  kAgentInfo,
  kConnectionsActive,
  kConnectionsOpened,
  kConnectionsRejected,
  kCheckSuccess,
  kCheckDuration,
  kDiskSize,
  kDiskFree,
  kDiskAvail,
  kCpuUsage,
  kProcesses,
  kFolderSize,
  kFiles,
  kFileExists,
  kFileSize,
  kFileMtime,
  kFileAge,
  kFileHashMatch,
  kFileContains,
  kTcpUp,
  kTcpDuration,
  kUdpUp,
  kUdpDuration,
  kScriptStatus,
  kScriptBytes,
  kScriptSeconds,
  kScriptRatio,
  kScriptValue,
};

struct MetricRow {
  Metric metric;
  const char* name;
  bool is_counter;
  const char* help;
};

// In the order of the enumeration.
const std::vector<MetricRow>& MetricTable();

using Labels = std::vector<std::pair<std::string, std::string>>;

class Page {
 public:
  // Values of labels may hold anything: what is no printable UTF-8 is shown as escapes.
  void Set(Metric metric, Labels labels, double value);
  std::string Text() const;

 private:
  std::map<Metric, std::map<Labels, double>> series_;
};

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_PAGE_H_
