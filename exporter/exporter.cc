// SPDX-License-Identifier: BSD-2-Clause
#include "exporter.h"

#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "model/printable.h"

namespace zem::exporter {

using client::Deadline;
using client::Milliseconds;

namespace {

constexpr const char* kMetricsType = "text/plain; version=0.0.4; charset=utf-8";
constexpr const char* kReloadKey = "reload";
constexpr Milliseconds kReloadTime{10'000};
constexpr size_t kMostPast = 50;

Response Text(unsigned status, std::string text) {
  return {.status = status, .body = std::move(text) + '\n'};
}

// The steps of all modules; what two of them share is asked once. Two that differ under one label
// would hide one another: nobody would notice that one of them is never asked.
std::vector<const Step*> StepsOf(const std::vector<std::string>& modules, const Config& config) {
  std::vector<const Step*> steps;
  std::map<std::string_view, const Step*> seen;
  for (const std::string& name : modules) {
    for (const Step& step : config.modules.find(name)->second) {
      const auto [first, is_new] = seen.emplace(step.label, &step);
      if (is_new) {
        steps.push_back(&step);
      } else if (step.kind != first->second->kind || step.arguments != first->second->arguments) {
        throw std::invalid_argument("two modules have different checks \"" +
                                    client::Printable(step.label) + "\": give one a \"name\"");
      }
    }
  }
  return steps;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

std::string DebugText(const ProbeRequest& wanted, const ProbeResult& result) {
  std::string text =
      fmt::format("Probe of {}, module {}: {} after {:.3f} s of {:.3f} s\n\n", wanted.target.Text(),
                  Joined(wanted.modules), result.success ? "success" : "failure", result.seconds,
                  static_cast<double>(wanted.time.count()) / 1000);
  for (const Asked& asked : result.asked) {
    text += fmt::format("{:9.3f} s  {}: {}\n", asked.seconds, client::Printable(asked.label),
                        asked.error.empty() ? "ok" : asked.error);
  }
  return text + "\nMetrics that would have been returned:\n" + result.page.Text();
}

}  // namespace

Exporter::Exporter(std::string config_path, size_t workers, size_t most_waiting)
    : config_path_(std::move(config_path)), queue_(workers, most_waiting) {}

bool Exporter::Load(std::string* error) {
  const std::lock_guard one_at_a_time(loading_);
  try {
    auto config = std::make_shared<const Config>(ReadConfig(config_path_));
    const std::lock_guard lock(mutex_);
    config_ = std::move(config);
    error->clear();
  } catch (const std::exception& exception) {
    *error = exception.what();
  }
  metrics_.Loaded(error->empty());
  return error->empty();
}

std::shared_ptr<const Config> Exporter::Current() const {
  const std::lock_guard lock(mutex_);
  return config_;
}

std::optional<Response> Exporter::Answer(const Request& request, Later* later) {
  if (request.is_post != (request.path == "/-/reload")) {
    return Text(405, request.is_post ? "not by POST" : "not by GET");
  }
  if (request.path == "/-/reload") {
    *later = [this](const Responder& respond) { QueueReload(respond); };
    return std::nullopt;
  }
  if (request.path == "/probe") return AnswerProbe(request, later);
  if (request.path == "/metrics") {
    return Response{200, kMetricsType, metrics_.Text(queue_.Waiting(), queue_.Running())};
  }
  if (request.path == "/-/healthy") return Text(200, "healthy");
  if (request.path == "/-/ready") return Text(200, "ready");
  if (request.path == "/config") return Text(200, Current()->shown);
  if (request.path == "/") return Response{200, "text/html; charset=utf-8", StartText()};
  return Text(404, "there is nothing here");
}

std::optional<Response> Exporter::AnswerProbe(const Request& request, Later* later) {
  try {
    ProbeRequest wanted = ParseProbeRequest(request);
    std::shared_ptr<const Config> config = Current();
    if (config->RuleFor(wanted.target) == nullptr) {
      metrics_.Rejected("target");
      return Text(403, "no rule of the configuration's targets lists " + wanted.target.Text());
    }
    for (const std::string& name : wanted.modules) {
      if (config->modules.contains(name)) continue;
      metrics_.Rejected("module");
      return Text(400, "there is no module \"" + client::Printable(name) + '"');
    }
    (void)StepsOf(wanted.modules, *config);  // refuses what does not go together
    *later = [this, wanted = std::move(wanted), config = std::move(config)](
                 const Responder& respond) { QueueProbe(wanted, config, respond); };
    return std::nullopt;
  } catch (const std::invalid_argument& error) {
    metrics_.Rejected("request");
    return Text(400, error.what());
  }
}

void Exporter::QueueProbe(const ProbeRequest& wanted, std::shared_ptr<const Config> config,
                          const Responder& respond) {
  const Deadline deadline(wanted.time);
  Job job = {wanted.target.Text(), deadline, [=, this, config = std::move(config)] {
               if (deadline.HasPassed()) {
                 metrics_.Rejected("late");
                 respond(Text(503, "no worker was free in time"));
                 return false;
               }
               const ProbeResult result = RunProbe(wanted, *config, deadline);
               respond(wanted.debug ? Text(200, DebugText(wanted, result))
                                    : Response{200, kMetricsType, result.page.Text()});
               return result.slow;
             }};
  if (queue_.Push(std::move(job))) return;
  metrics_.Rejected("queue");
  respond(Text(503, "too many probes wait"));
}

ProbeResult Exporter::RunProbe(const ProbeRequest& wanted, const Config& config,
                               const Deadline& deadline) {
  const TargetRule* rule = config.RuleFor(wanted.target);
  ProbeResult result = Probe(wanted.target, config.auths.find(rule->auth)->second.View(),
                             StepsOf(wanted.modules, config), deadline, &resolver_);
  metrics_.Probed(result.success, result.seconds);
  Remember(wanted, result);
  return result;
}

void Exporter::QueueReload(const Responder& respond) {
  const bool queued = queue_.Push({kReloadKey, Deadline(kReloadTime), [=, this] {
                                     std::string error;
                                     const bool done = Load(&error);
                                     fmt::print(stderr, "zem-exporter: {}\n",
                                                done ? "configuration read again" : error);
                                     respond(done ? Text(200, "done") : Text(500, error));
                                     return false;
                                   }});
  if (!queued) respond(Text(503, "too many probes wait"));
}

void Exporter::Remember(const ProbeRequest& wanted, const ProbeResult& result) {
  PastProbe past = {time(nullptr), wanted.target.Text(), Joined(wanted.modules), result.seconds,
                    ""};
  for (const Asked& asked : result.asked) {
    if (asked.error.empty()) continue;
    past.error = asked.label + ": " + asked.error;
    break;
  }
  const std::lock_guard lock(mutex_);
  past_.push_front(std::move(past));
  if (past_.size() > kMostPast) past_.pop_back();
}

std::string Exporter::StartText() const {
  const std::lock_guard lock(mutex_);
  return StartPage(*config_, past_);
}

}  // namespace zem::exporter
