// SPDX-License-Identifier: BSD-2-Clause
// The checks of a module: how each is written, the request it becomes, the figures of its answer.
//
// A kind of check is one row of one table, on top of the client's command of that purpose: what the
// client refuses to ask is refused when the configuration is read.
// Errors:  ConfigError while a configuration is read.
// Threads: steps are constant once read; RecordAnswer may run on many threads at once.

#ifndef ZEM_EXPORTER_CHECKS_H_
#define ZEM_EXPORTER_CHECKS_H_

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/command.h"
#include "page.h"
#include "yaml_fields.h"

namespace zem::exporter {

struct CheckKind;

// One request.
struct Step {
  const CheckKind* kind = nullptr;
  std::string label;  // of the check, unique in its module
  Labels labels;      // of its figures
  client::Arguments arguments;
  std::shared_ptr<const client::Plan> plan;
  client::Thresholds thresholds;  // of a ready check
  std::optional<client::Milliseconds> limit;
};

// Appends the steps of one entry of a module: a map of one kind with its arguments.
void ReadCheck(const YAML::Node& node, std::vector<Step>* steps);

// The request that every probe begins with.
const std::string& InfoRequest();

// Asks it; whatever goes wrong stands in the exchange.
client::Exchange AskStep(const Step& step, const client::Endpoint& endpoint,
                         std::string_view password, const client::Deadline& deadline);

// Sets the figures of a reply. What went wrong, in one line; empty when the check worked, whatever
// it found.
std::string RecordAnswer(const Step& step, const client::Exchange& exchange, Page* page);
// The same for the request that every probe begins with.
std::string RecordInfo(const client::Exchange& exchange, Page* page);

// When a file was modified, from the agent's local time, which does not say its zone, and the age
// in minutes, which needs none.
double ModifiedAt(const std::string& local_time, double age_minutes, time_t now);

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_CHECKS_H_
