// SPDX-License-Identifier: BSD-2-Clause
// What an HTTP request of the exporter says, and what that means where it asks for a probe.
//
// Units:   the header's time is in seconds, with a fraction.
// Errors:  std::invalid_argument, with a text for who asked.
// Threads: as any value.

#ifndef ZEM_EXPORTER_PROBE_REQUEST_H_
#define ZEM_EXPORTER_PROBE_REQUEST_H_

#include <string>
#include <utility>
#include <vector>

#include "targets.h"
#include "wire/deadline.h"

namespace zem::exporter {

struct Request {
  bool is_post = false;
  std::string path;
  std::vector<std::pair<std::string, std::string>> query;
  std::string scrape_timeout;  // as the header says it
};

struct ProbeRequest {
  Target target;
  std::vector<std::string> modules;
  bool debug = false;
  client::Milliseconds time;  // for all of it
};

ProbeRequest ParseProbeRequest(const Request& request);

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_PROBE_REQUEST_H_
