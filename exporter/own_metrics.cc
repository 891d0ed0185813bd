// SPDX-License-Identifier: BSD-2-Clause
#include "own_metrics.h"

#include <prometheus/text_serializer.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>

#include "core/unique_fd.h"

namespace zem::exporter {

namespace {

template <typename Builder>
auto& Family(const Builder& builder, const char* name, const char* help,
             prometheus::Registry* registry) {
  return Builder(builder).Name(name).Help(help).Register(*registry);
}

auto& CounterFamily(const char* name, const char* help, prometheus::Registry* registry) {
  return Family(prometheus::BuildCounter(), name, help, registry);
}

prometheus::Gauge& Gauge(const char* name, const char* help, prometheus::Registry* registry,
                         const prometheus::Labels& labels = {}) {
  return Family(prometheus::BuildGauge(), name, help, registry).Add(labels);
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Where the system shows it; 0 elsewhere.
double ResidentBytes() {
  const FilePtr file(fopen("/proc/self/statm", "re"));
  long pages = 0;
  if (!file || fscanf(file.get(), "%*s %ld", &pages) != 1) return 0;
  return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

}  // namespace

OwnMetrics::OwnMetrics()
    : probes_(CounterFamily("zem_exporter_probes_total", "Probes that were made.", &registry_)),
      rejected_(CounterFamily("zem_exporter_rejected_total",
                              "Requests for a probe that was not made.", &registry_)),
      duration_(
          Family(prometheus::BuildHistogram(), "zem_exporter_probe_duration_seconds",
                 "How long probes took.", &registry_)
              .Add({}, prometheus::Histogram::BucketBoundaries{0.01, 0.03, 0.1, 0.3, 1, 3, 10})),
      loaded_(Gauge("zem_exporter_config_last_reload_successful",
                    "Whether the last reading of the configuration worked.", &registry_)),
      loaded_at_(Gauge("zem_exporter_config_last_reload_success_timestamp_seconds",
                       "When the configuration in force was read.", &registry_)),
      waiting_(Gauge("zem_exporter_queue_length", "Probes that wait for a worker.", &registry_)),
      running_(Gauge("zem_exporter_workers_busy", "Workers that probe.", &registry_)),
      cpu_(CounterFamily("process_cpu_seconds_total", "Processor time used.", &registry_).Add({})),
      memory_(Gauge("process_resident_memory_bytes", "Memory in use.", &registry_)) {
  Gauge("zem_exporter_build_info", "The version; always 1.", &registry_,
        {{"version", ZEM_EXPORTER_VERSION}})
      .Set(1);
  for (const char* outcome : {"success", "failure"}) probes_.Add({{"outcome", outcome}});
  for (const char* reason : {"request", "module", "target", "queue", "late"}) {
    rejected_.Add({{"reason", reason}});
  }
}

void OwnMetrics::Loaded(bool successful) {
  loaded_.Set(successful ? 1 : 0);
  if (successful) loaded_at_.SetToCurrentTime();
}

void OwnMetrics::Probed(bool successful, double seconds) {
  probes_.Add({{"outcome", successful ? "success" : "failure"}}).Increment();
  duration_.Observe(seconds);
}

void OwnMetrics::Rejected(const char* reason) {
  rejected_.Add({{"reason", reason}}).Increment();
}

std::string OwnMetrics::Text(size_t waiting, size_t running) {
  waiting_.Set(static_cast<double>(waiting));
  running_.Set(static_cast<double>(running));
  memory_.Set(ResidentBytes());
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  cpu_.Increment(Seconds(usage.ru_utime) + Seconds(usage.ru_stime) - cpu_.Value());
  return prometheus::TextSerializer().Serialize(registry_.Collect());
}

}  // namespace zem::exporter
