// SPDX-License-Identifier: BSD-2-Clause
// Asks one target for everything its modules hold, one connection after the other.
//
// A check that takes long costs itself: it gets half of the time that is left, unless the
// configuration gives it a time, and what the others answered stays. An agent that cannot be
// reached, or does not take the password, is asked nothing more.
// Threads: any.

#ifndef ZEM_EXPORTER_PROBE_H_
#define ZEM_EXPORTER_PROBE_H_

#include <string>
#include <string_view>
#include <vector>

#include "checks.h"
#include "page.h"
#include "resolver.h"
#include "targets.h"

namespace zem::exporter {

inline constexpr client::Milliseconds kConnectTime{2000};
// What a check answers with fits many times; lists and settings are not asked for.
inline constexpr size_t kLargestReply = 256 * 1024;

struct Asked {
  std::string label;
  double seconds = 0;
  std::string error;  // empty = it worked
};

struct ProbeResult {
  Page page;
  std::vector<Asked> asked;  // the agent itself first
  bool success = false;
  bool slow = false;  // something kept a worker waiting and came to nothing
  double seconds = 0;
};

ProbeResult Probe(const Target& target, std::string_view password,
                  const std::vector<const Step*>& steps, const client::Deadline& deadline,
                  Resolver* resolver);

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_PROBE_H_
