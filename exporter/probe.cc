// SPDX-License-Identifier: BSD-2-Clause
#include "probe.h"

#include "model/printable.h"
#include "wire/exchange.h"

namespace zem::exporter {

using client::Deadline;
using client::Endpoint;
using client::Exchange;
using client::Failure;
using client::FailureKind;

namespace {

constexpr const char* kAgentLabel = "agent";
constexpr double kSlowSeconds = 1;  // below it lie refusals and closed connections, diagnosed
constexpr const char* kReasons[] = {"refused", "timeout", "closed", "password", "name", "other"};

double Since(client::Clock::time_point start) {
  return std::chrono::duration<double>(client::Clock::now() - start).count();
}

const char* ReasonOf(const Failure& failure) {
  switch (failure.kind) {
    case FailureKind::kNone:
      return "";
    case FailureKind::kRefused:
      return "refused";
    case FailureKind::kTimeout:
      return "timeout";
    case FailureKind::kClosed:
      return failure.wrong_password ? "password" : "closed";
    case FailureKind::kShortReply:
      return "closed";
    case FailureKind::kResolve:
      return "name";
    default:
      return "other";
  }
}

bool IsOffTheNet(const Exchange& exchange) {
  return exchange.failure && exchange.connected.count() == 0;
}

std::string Line(const Failure& failure) {
  return failure.hint.empty() ? failure.text : failure.text + " (" + failure.hint + ')';
}

class OneProbe {
 public:
  OneProbe(const Target& target, std::string_view password, const Deadline& deadline)
      : target_(target), password_(password), deadline_(deadline) {
    endpoint_.port = target.port;
    endpoint_.connect_time = kConnectTime;
    endpoint_.largest_reply = kLargestReply;
  }

  // Finds the address that answers, and what the agent is.
  void AskAgent(Resolver* resolver, ProbeResult* result) {
    const auto start = client::Clock::now();
    Exchange exchange;
    std::vector<std::string> addresses = {target_.host};
    if (!target_.address) {
      addresses = resolver->Resolve(target_.host, Share(), &exchange.failure);
    }
    for (const std::string& address : addresses) {
      endpoint_.host = address;
      exchange = client::Ask(endpoint_, InfoRequest(), password_, Share());
      if (!IsOffTheNet(exchange)) break;
    }
    std::string error = exchange.failure ? Line(exchange.failure) : "";
    const char* reason = ReasonOf(exchange.failure);
    if (error.empty()) {
      error = RecordInfo(exchange, &result->page);
      if (!error.empty()) reason = "other";
    }
    alive_ = error.empty();
    result->page.Set(Metric::kUp, {}, alive_ ? 1 : 0);
    for (const char* each : kReasons) {
      result->page.Set(Metric::kProbeFailure, {{"reason", each}},
                       std::string_view(each) == reason ? 1 : 0);
    }
    result->asked.push_back({kAgentLabel, Since(start), std::move(error)});
  }

  void AskStep(const Step& step, bool is_last, ProbeResult* result) {
    const auto start = client::Clock::now();
    std::string error = "not asked, since the agent does not answer";
    if (alive_ && deadline_.HasPassed()) error = "not asked, since the time was over";
    if (alive_ && !deadline_.HasPassed()) {
      const Deadline share = is_last ? deadline_ : Share();
      const Exchange exchange = exporter::AskStep(
          step, endpoint_, password_, step.limit ? deadline_.Within(*step.limit) : share);
      error =
          exchange.failure ? Line(exchange.failure) : RecordAnswer(step, exchange, &result->page);
      alive_ = !IsOffTheNet(exchange);
    }
    const double seconds = Since(start);
    const Labels labels = {{"check", step.label}};
    result->page.Set(Metric::kCheckSuccess, labels, error.empty() ? 1 : 0);
    result->page.Set(Metric::kCheckDuration, labels, seconds);
    result->asked.push_back({step.label, seconds, std::move(error)});
  }

 private:
  Deadline Share() const { return deadline_.Within(deadline_.Left() / 2); }

  const Target& target_;
  const std::string_view password_;
  const Deadline& deadline_;
  Endpoint endpoint_;
  bool alive_ = false;
};

}  // namespace

ProbeResult Probe(const Target& target, std::string_view password,
                  const std::vector<const Step*>& steps, const Deadline& deadline,
                  Resolver* resolver) {
  const auto start = client::Clock::now();
  ProbeResult result;
  OneProbe probe(target, password, deadline);
  probe.AskAgent(resolver, &result);
  for (const Step* step : steps) probe.AskStep(*step, step == steps.back(), &result);
  result.success = true;
  for (Asked& asked : result.asked) {
    asked.error = client::Printable(asked.error);
    result.success = result.success && asked.error.empty();
    // A host that hangs, or whose name nobody knows in time, holds a worker as a dead one does.
    result.slow = result.slow || (!asked.error.empty() && asked.seconds > kSlowSeconds);
  }
  result.seconds = Since(start);
  result.page.Set(Metric::kProbeSuccess, {}, result.success ? 1 : 0);
  result.page.Set(Metric::kProbeDuration, {}, result.seconds);
  return result;
}

}  // namespace zem::exporter
