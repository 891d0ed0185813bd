// SPDX-License-Identifier: BSD-2-Clause
// What each path of the exporter answers with, and what it keeps between requests: the
// configuration in force, its own figures, the last probes.
//
// Threads: any.

#ifndef ZEM_EXPORTER_EXPORTER_H_
#define ZEM_EXPORTER_EXPORTER_H_

#include <ctime>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "config.h"
#include "http_server.h"
#include "own_metrics.h"
#include "probe.h"
#include "probe_request.h"
#include "resolver.h"
#include "work_queue.h"

namespace zem::exporter {

// A probe that is over, for the page that shows the last ones.
struct PastProbe {
  time_t when = 0;
  std::string target;
  std::string modules;
  double seconds = 0;
  std::string error;  // the first; empty = everything worked
};

std::string StartPage(const Config& config, const std::deque<PastProbe>& past);

class Exporter {
 public:
  Exporter(std::string config_path, size_t workers, size_t most_waiting);

  // Reads the configuration. A bad one leaves the old one in force; the text says what is wrong.
  [[nodiscard]] bool Load(std::string* error);
  std::optional<Response> Answer(const Request& request, Later* later);

 private:
  std::optional<Response> AnswerProbe(const Request& request, Later* later);
  void QueueProbe(const ProbeRequest& wanted, std::shared_ptr<const Config> config,
                  const Responder& respond);
  ProbeResult RunProbe(const ProbeRequest& wanted, const Config& config,
                       const client::Deadline& deadline);
  void QueueReload(const Responder& respond);
  void Remember(const ProbeRequest& wanted, const ProbeResult& result);
  std::shared_ptr<const Config> Current() const;
  std::string StartText() const;

  const std::string config_path_;
  OwnMetrics metrics_;
  mutable std::mutex mutex_;
  std::shared_ptr<const Config> config_;  // guarded by mutex_, as is the next
  std::deque<PastProbe> past_;
  std::mutex loading_;
  Resolver resolver_;
  WorkQueue queue_;  // last: its jobs use the others
};

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_EXPORTER_H_
