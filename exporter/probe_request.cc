// SPDX-License-Identifier: BSD-2-Clause
#include "probe_request.h"

#include <algorithm>
#include <stdexcept>

#include "model/words.h"

namespace zem::exporter {

using client::Milliseconds;

namespace {

constexpr const char* kDefaultModule = "default";
constexpr double kDefaultSeconds = 10;
constexpr double kLeastSeconds = 0.01;
constexpr double kMostSeconds = 120;
// Left to the way back: an answer that comes after its scrape has ended is lost.
constexpr double kSpareSeconds = 0.5;
constexpr size_t kMostModules = 16;

Milliseconds TimeFor(const std::string& scrape_timeout) {
  double seconds = 0;
  if (!client::ParseDecimal(scrape_timeout, &seconds) || seconds <= 0) seconds = kDefaultSeconds;
  seconds = std::clamp(seconds, kLeastSeconds, kMostSeconds);
  seconds = std::max(seconds - kSpareSeconds, seconds / 2);
  return Milliseconds(static_cast<int64_t>(seconds * 1000));
}

}  // namespace

ProbeRequest ParseProbeRequest(const Request& request) {
  ProbeRequest wanted;
  std::string target;
  for (const auto& [name, value] : request.query) {
    if (name == "target") {
      if (!target.empty()) throw std::invalid_argument("one target at a time");
      target = value;
    } else if (name == "module") {
      const auto& names = wanted.modules;
      if (std::find(names.begin(), names.end(), value) == names.end()) {
        wanted.modules.push_back(value);
      }
    } else if (name == "debug") {
      wanted.debug = value == "true";
    } else {
      throw std::invalid_argument("the parameters are target, module and debug");
    }
  }
  if (target.empty()) throw std::invalid_argument("there is no target");
  if (wanted.modules.size() > kMostModules) throw std::invalid_argument("too many modules");
  if (wanted.modules.empty()) wanted.modules = {kDefaultModule};
  wanted.target = ParseTarget(target);
  wanted.time = TimeFor(request.scrape_timeout);
  return wanted;
}

}  // namespace zem::exporter
