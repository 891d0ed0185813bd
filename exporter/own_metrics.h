// SPDX-License-Identifier: BSD-2-Clause
// The exporter's figures about itself.
//
// Threads: any.

#ifndef ZEM_EXPORTER_OWN_METRICS_H_
#define ZEM_EXPORTER_OWN_METRICS_H_

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <string>

namespace zem::exporter {

class OwnMetrics {
 public:
  OwnMetrics();

  void Loaded(bool successful);
  void Probed(bool successful, double seconds);
  // A probe that was not made: "request", "module", "target", "queue", "late".
  void Rejected(const char* reason);
  std::string Text(size_t waiting, size_t running);

 private:
  prometheus::Registry registry_;
  prometheus::Family<prometheus::Counter>& probes_;
  prometheus::Family<prometheus::Counter>& rejected_;
  prometheus::Histogram& duration_;
  prometheus::Gauge& loaded_;
  prometheus::Gauge& loaded_at_;
  prometheus::Gauge& waiting_;
  prometheus::Gauge& running_;
  prometheus::Counter& cpu_;
  prometheus::Gauge& memory_;
};

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_OWN_METRICS_H_
