// SPDX-License-Identifier: BSD-2-Clause
// What reaches the exporter from outside: a probe's query, and a configuration. Each is refused
// with a text, or means one thing; a name is never what the system would take for an address, and
// no refusal holds what the configuration says of a password.
//
// An input is lines of "name=value", an empty line, the configuration.
#include <netdb.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "config.h"
#include "core/unique_fd.h"
#include "fuzz.h"
#include "probe_request.h"

namespace zem::exporter {
namespace {

constexpr const char* kSecret = "/s3cret";

bool SystemTakesForAddress(const std::string& host) {
  addrinfo wanted = {};
  wanted.ai_flags = AI_NUMERICHOST;
  addrinfo* list = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &wanted, &list) != 0) return false;
  const AddrInfoPtr owner(list);
  return true;
}

void TryQuery(std::string_view lines, Request request) {
  while (!lines.empty()) {
    const size_t end = std::min(lines.find('\n'), lines.size());
    const std::string_view line = lines.substr(0, end);
    const size_t equals = std::min(line.find('='), line.size());
    request.query.emplace_back(line.substr(0, equals),
                               line.substr(std::min(equals + 1, line.size())));
    lines.remove_prefix(std::min(end + 1, lines.size()));
  }
  if (!request.query.empty()) request.scrape_timeout = request.query.back().second;
  try {
    const ProbeRequest wanted = ParseProbeRequest(request);
    FUZZ_CHECK(wanted.time.count() > 0 && wanted.time.count() < 120'000);
    FUZZ_CHECK(!wanted.modules.empty());
    FUZZ_CHECK(ParseTarget(wanted.target.Text()).Text() == wanted.target.Text());
    FUZZ_CHECK(SystemTakesForAddress(wanted.target.host) == wanted.target.address.has_value());
    // No pattern of another kind admits it.
    const Pattern every[] = {Pattern::Parse("0.0.0.0/0"), Pattern::Parse("::/0")};
    const auto admitted = std::count_if(std::begin(every), std::end(every),
                                        [&](const Pattern& p) { return p.Matches(wanted.target); });
    FUZZ_CHECK(admitted == (wanted.target.address ? 1 : 0));
  } catch (const std::invalid_argument& error) {
    FUZZ_CHECK(*error.what() != '\0');
  }
}

void TryConfig(std::string_view text) {
  try {
    const Config config = ParseConfig(text, "f.yml", [](const std::string& path) {
      if (path != kSecret) throw std::runtime_error("cannot read " + path);
      return client::Secret("pw");
    });
    FUZZ_CHECK(!config.rules.empty() && !config.modules.empty());
    for (const TargetRule& rule : config.rules) {
      FUZZ_CHECK(config.auths.contains(rule.auth) && !rule.ports.empty());
    }
    for (const auto& [name, steps] : config.modules) {
      for (const Step& step : steps) FUZZ_CHECK(step.plan->text.ends_with("\n\r"));
    }
  } catch (const std::runtime_error& error) {
    const std::string_view said = error.what();
    FUZZ_CHECK(said.starts_with("f.yml:") && said.size() > 7);
  }
}

}  // namespace
}  // namespace zem::exporter

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input = zem::Text(data, size);
  const size_t end = std::min(input.find("\n\n"), size);
  zem::exporter::TryQuery(input.substr(0, end), {});
  zem::exporter::TryConfig(input.substr(std::min(end + 2, size)));
  return 0;
}
