// SPDX-License-Identifier: BSD-2-Clause
#include "app/report.h"

#include <unistd.h>

#include <algorithm>

#include <fmt/format.h>

#include "model/printable.h"
#include "output/json.h"
#include "output/table.h"
#include "output/units.h"

namespace zem::client {

namespace {

// The reply as it was sent, but for its end mark.
std::string RawText(const Outcome& outcome) {
  std::string text = outcome.exchange.reply;
  if (!text.empty() && text.back() != '\n') text += '\n';
  return text;
}

int WorstExit(const std::vector<Outcome>& outcomes) {
  int worst = 0;
  for (const Outcome& outcome : outcomes) worst = std::max(worst, outcome.exit_code);
  return worst;
}

std::string Complaint(const Outcome& outcome, const Style& style) {
  std::string text = fmt::format("{} {}\n", style(Tone::kBad, Printable(outcome.name) + ":"),
                                 Printable(outcome.summary));
  if (!outcome.hint.empty()) text += "  " + Printable(outcome.hint) + '\n';
  return text;
}

std::string Sizes(const Outcome& outcome) {
  const Exchange& exchange = outcome.exchange;
  return fmt::format(
      "{}: request {} bytes, reply {} bytes, connected after {:.2f} ms, done after {:.2f} ms\n",
      Display(outcome.endpoint), exchange.request_bytes, exchange.reply_bytes,
      exchange.ConnectedMillis(), exchange.ElapsedMillis());
}

// The short word for a row: the status, or the kind of failure.
Cell StatusCell(const Outcome& outcome) {
  if (outcome.failure) return {FailureName(outcome.failure.kind), Tone::kBad, false};
  if (outcome.IsDone()) return {"ok", Tone::kGood, false};
  const auto& status = outcome.reply.status;
  return {status ? std::to_string(*status) : "none", Tone::kWarning, false};
}

std::string HostTable(const std::vector<Outcome>& outcomes, const Style& style) {
  std::vector<std::vector<Cell>> rows;
  for (const Outcome& outcome : outcomes) {
    std::string answer = Printable(outcome.summary);
    if (!outcome.hint.empty()) answer += " (" + Printable(outcome.hint) + ")";
    rows.push_back({{Printable(outcome.name)},
                    StatusCell(outcome),
                    {ReadableMillis(outcome.exchange.ElapsedMillis()), Tone::kPlain, true},
                    {std::move(answer)}});
  }
  return Columned({"HOST", "STATUS", "TIME", "ANSWER"}, rows, style);
}

void ReportTable(const std::vector<Outcome>& outcomes, const Style& out, const Style& err,
                 Report* report) {
  if (outcomes.size() > 1) {
    report->out = HostTable(outcomes, out);
    return;
  }
  const Outcome& outcome = outcomes.front();
  if (!outcome.IsDone()) {
    report->err += Complaint(outcome, err);
    return;
  }
  report->out = ReadableResult(outcome.result, out);
  // Commands that only do something answer in one line.
  if (report->out.empty()) report->out = Printable(outcome.summary) + '\n';
}

void ReportJson(const std::vector<Outcome>& outcomes, const Options& options, Report* report) {
  if (outcomes.size() == 1) {
    report->out = ToJson(OutcomeValue(outcomes.front(), *options.command)) + '\n';
    return;
  }
  List list;
  bool ok = true;
  for (const Outcome& outcome : outcomes) {
    ok = ok && outcome.IsDone();
    list.push_back(OutcomeValue(outcome, *options.command));
  }
  report->out = ToJson(Value::Of(Record{{"command", Value::Text(options.command->name)},
                                        {"ok", Value::Flag(ok)},
                                        {"hosts", Value::Of(std::move(list))}})) +
                '\n';
}

void ReportRaw(const std::vector<Outcome>& outcomes, const Style& err, Report* report) {
  for (const Outcome& outcome : outcomes) {
    if (outcomes.size() > 1) report->out += fmt::format("==> {} <==\n", Printable(outcome.name));
    if (outcome.failure) report->err += Complaint(outcome, err);
    report->out += RawText(outcome);
  }
}

std::string NameOf(const Verdict& verdict, const Options& options) {
  return verdict.name.empty() ? options.command->name : verdict.name;
}

Report PluginReport(const std::vector<Outcome>& outcomes, const Options& options) {
  Report report;
  State worst = State::kOk;
  for (const Outcome& outcome : outcomes) worst = Worse(worst, outcome.verdict.state);
  report.exit_code = static_cast<int>(worst);
  if (outcomes.size() == 1 && !outcomes.front().verdict.whole.empty()) {
    const std::string& whole = outcomes.front().verdict.whole;
    report.out = isatty(STDOUT_FILENO) == 1 ? PrintableLines(whole) : whole;
    return report;
  }
  if (outcomes.size() == 1) {
    report.out =
        PluginLine(NameOf(outcomes.front().verdict, options), outcomes.front().verdict) + '\n';
    return report;
  }
  Verdict all;
  all.state = worst;
  size_t fine = 0;
  std::string rows;
  for (const Outcome& outcome : outcomes) {
    fine += outcome.verdict.state == State::kOk;
    for (Metric metric : outcome.verdict.metrics) {
      metric.label = outcome.name + ' ' + metric.label;
      all.metrics.push_back(std::move(metric));
    }
    rows += HostLine(outcome.name, outcome.verdict) + '\n';
  }
  all.text = fmt::format("{} of {} hosts OK", fine, outcomes.size());
  report.out = PluginLine(NameOf(outcomes.front().verdict, options), all) + '\n' + rows;
  return report;
}

}  // namespace

Value OutcomeValue(const Outcome& outcome, const Command& command) {
  const bool done = outcome.IsDone();
  return Value::Of(Record{
      {"name", Value::Text(outcome.name)},
      {"host", Value::Text(outcome.endpoint.host)},
      {"port", Value::Int(outcome.endpoint.port)},
      {"command", Value::Text(command.name)},
      {"request", Value::Text(outcome.request)},
      {"status", outcome.reply.status ? Value::Int(*outcome.reply.status) : Value()},
      {"ok", Value::Flag(done)},
      {"elapsed_ms", Value::Number(outcome.exchange.ElapsedMillis())},
      {"error", done ? Value() : Value::Text(outcome.summary)},
      {"error_kind", outcome.failure ? Value::Text(FailureName(outcome.failure.kind)) : Value()},
      {"hint", outcome.hint.empty() ? Value() : Value::Text(outcome.hint)},
      {"result", done ? outcome.result : Value()},
      {"lines", TextList(outcome.reply.lines)},
  });
}

Report MakeReport(const std::vector<Outcome>& outcomes, const Options& options, const Style& out,
                  const Style& err) {
  if (options.plugin) return PluginReport(outcomes, options);
  Report report;
  report.exit_code = WorstExit(outcomes);
  switch (options.output) {
    case Output::kTable:
      ReportTable(outcomes, out, err, &report);
      break;
    case Output::kJson:
      ReportJson(outcomes, options, &report);
      break;
    case Output::kRaw:
      ReportRaw(outcomes, err, &report);
      break;
  }
  if (options.quiet) report.out.clear();
  if (options.verbose) {
    for (const Outcome& outcome : outcomes) report.err += Sizes(outcome);
  }
  return report;
}

}  // namespace zem::client
