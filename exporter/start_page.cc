// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/format.h>

#include "exporter.h"

namespace zem::exporter {

namespace {

constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>zem-exporter</title><style>
body{font:15px/1.5 sans-serif;max-width:62em;margin:2em auto;padding:0 1em;color:#222}
table{border-collapse:collapse;width:100%}td,th{text-align:left;padding:.2em .8em .2em 0;
border-bottom:1px solid #ddd}.bad{color:#a40000}code{background:#f3f3f3}
</style></head><body><h1>zem-exporter</h1>
<p><a href="/metrics">own metrics</a> <a href="/config">configuration</a></p>
)";

std::string Html(const std::string& text) {
  std::string safe;
  for (const char byte : text) {
    switch (byte) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      default:
        safe += byte;
    }
  }
  return safe;
}

std::string Clock(time_t when) {
  tm broken = {};
  char text[32] = "";
  if (gmtime_r(&when, &broken) != nullptr) strftime(text, sizeof(text), "%H:%M:%S UTC", &broken);
  return text;
}

}  // namespace

std::string StartPage(const Config& config, const std::deque<PastProbe>& past) {
  std::string options;
  std::string modules;
  for (const auto& [name, steps] : config.modules) {
    options += fmt::format("<option>{}</option>", Html(name));
    modules += fmt::format("<tr><td>{}</td><td>", Html(name));
    for (const Step& step : steps) modules += fmt::format("<code>{}</code> ", Html(step.label));
    modules += "</td></tr>\n";
  }
  std::string rows;
  for (const PastProbe& probe : past) {
    rows +=
        fmt::format("<tr><td>{}</td><td>{}</td><td>{}</td><td>{:.3f} s</td><td{}>{}</td></tr>\n",
                    Clock(probe.when), Html(probe.target), Html(probe.modules), probe.seconds,
                    probe.error.empty() ? "" : " class=\"bad\"",
                    probe.error.empty() ? "ok" : Html(probe.error));
  }
  return fmt::format(
      "{}<form action=\"/probe\"><label>Target <input name=\"target\" required></label> "
      "<label>Module <select name=\"module\">{}</select></label> "
      "<label><input type=\"checkbox\" name=\"debug\" value=\"true\" checked> details</label> "
      "<button>Probe</button></form>\n"
      "<h2>Modules</h2><table><tr><th>Module</th><th>Checks</th></tr>\n{}</table>\n"
      "<h2>Last probes</h2><table><tr><th>Time</th><th>Target</th><th>Module</th><th>Took</th>"
      "<th>Outcome</th></tr>\n{}</table></body></html>\n",
      kHead, options, modules, rows);
}

}  // namespace zem::exporter
