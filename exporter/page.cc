// SPDX-License-Identifier: BSD-2-Clause
#include "page.h"

#include <prometheus/text_serializer.h>

#include "model/printable.h"

namespace zem::exporter {

const std::vector<MetricRow>& MetricTable() {
  static const std::vector<MetricRow> kTable = {
      {Metric::kProbeSuccess, "probe_success", false, "Whether every check of the probe worked."},
      {Metric::kProbeDuration, "probe_duration_seconds", false, "How long the probe took."},
      {Metric::kUp, "zem_up", false, "Whether the agent answers under its password."},
      {Metric::kProbeFailure, "zem_probe_failure", false,
       "Why the agent does not answer; 1 for the reason that holds."},
      {Metric::kAgentInfo, "zem_agent_info", false, "What the agent is; always 1."},
      {Metric::kConnectionsActive, "zem_agent_connections_active", false,
       "Connections that the agent has open now, this one included."},
      {Metric::kConnectionsOpened, "zem_agent_connections_opened_total", true,
       "Connections that the agent has accepted since it started."},
      {Metric::kConnectionsRejected, "zem_agent_connections_rejected_total", true,
       "Connections that the agent has turned away since it started."},
      {Metric::kCheckSuccess, "zem_check_success", false,
       "Whether the agent answered the check with what it asks for."},
      {Metric::kCheckDuration, "zem_check_duration_seconds", false, "How long the check took."},
      {Metric::kDiskSize, "zem_disk_size_bytes", false, "Size of the file system of a path."},
      {Metric::kDiskFree, "zem_disk_free_bytes", false, "Free space, the reserve included."},
      {Metric::kDiskAvail, "zem_disk_avail_bytes", false, "Free space for ordinary users."},
      {Metric::kCpuUsage, "zem_cpu_usage_ratio", false, "Share of the processors in use, 0 to 1."},
      {Metric::kProcesses, "zem_processes", false, "Processes of that name that run."},
      {Metric::kFolderSize, "zem_folder_size_bytes", false, "Size of the files in a folder."},
      {Metric::kFiles, "zem_files", false, "Files or sub-folders that match."},
      {Metric::kFileExists, "zem_file_exists", false, "Whether the file is there."},
      {Metric::kFileSize, "zem_file_size_bytes", false, "Size of the file."},
      {Metric::kFileMtime, "zem_file_mtime_seconds", false,
       "When the file was last modified, since the epoch."},
      {Metric::kFileAge, "zem_file_age_seconds", false,
       "How long ago the file was last modified, in whole minutes."},
      {Metric::kFileHashMatch, "zem_file_hash_match", false,
       "Whether the file has the expected hash."},
      {Metric::kFileContains, "zem_file_contains", false, "Whether the file contains the text."},
      {Metric::kTcpUp, "zem_tcp_up", false, "Whether the TCP service answers the agent's host."},
      {Metric::kTcpDuration, "zem_tcp_duration_seconds", false, "How long the TCP service took."},
      {Metric::kUdpUp, "zem_udp_up", false, "Whether the UDP service answers the agent's host."},
      {Metric::kUdpDuration, "zem_udp_duration_seconds", false, "How long the UDP service took."},
      {Metric::kScriptStatus, "zem_script_status", false,
       "State of a ready check: 0 OK, 1 warning, 2 critical, 3 unknown."},
      {Metric::kScriptBytes, "zem_script_bytes", false, "A figure of a ready check, in bytes."},
      {Metric::kScriptSeconds, "zem_script_seconds", false,
       "A figure of a ready check, in seconds."},
      {Metric::kScriptRatio, "zem_script_ratio", false, "A share that a ready check reports."},
      {Metric::kScriptValue, "zem_script_value", false,
       "A figure of a ready check that has no unit."},
  };
  return kTable;
}

void Page::Set(Metric metric, Labels labels, double value) {
  for (auto& [name, text] : labels) text = client::Printable(text);
  series_[metric].try_emplace(std::move(labels), value);
}

std::string Page::Text() const {
  std::vector<prometheus::MetricFamily> families;
  for (const auto& [metric, series] : series_) {
    const MetricRow& row = MetricTable()[static_cast<size_t>(metric)];
    prometheus::MetricFamily family;
    family.name = row.name;
    family.help = row.help;
    family.type = row.is_counter ? prometheus::MetricType::Counter : prometheus::MetricType::Gauge;
    for (const auto& [labels, value] : series) {
      prometheus::ClientMetric one;
      for (const auto& [name, text] : labels) one.label.push_back({name, text});
      (row.is_counter ? one.counter.value : one.gauge.value) = value;
      family.metric.push_back(std::move(one));
    }
    families.push_back(std::move(family));
  }
  return prometheus::TextSerializer().Serialize(families);
}

}  // namespace zem::exporter
