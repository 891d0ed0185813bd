// SPDX-License-Identifier: BSD-2-Clause
#include "app/outcome.h"

#include <unistd.h>

#include <algorithm>
#include <set>

#include <fmt/format.h>

#include "model/printable.h"
#include "output/table.h"

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

std::string Complaint(const Outcome& outcome, bool with_hint, const Style& style) {
  std::string text = fmt::format("{} {}\n", style(Tone::kBad, Printable(outcome.name) + ":"),
                                 Printable(outcome.summary));
  if (with_hint && !outcome.hint.empty()) text += "  " + Printable(outcome.hint) + '\n';
  return text;
}

std::string Sizes(const Outcome& outcome) {
  const Exchange& exchange = outcome.exchange;
  return fmt::format(
      "{}: request {} bytes, reply {} bytes, connected after {:.2f} ms, done after {:.2f} ms\n",
      Display(outcome.endpoint), exchange.request_bytes, exchange.reply_bytes,
      exchange.ConnectedMillis(), exchange.ElapsedMillis());
}

void ReportTable(const Outcome& outcome, const Style& out, const Style& err, Report* report) {
  if (!outcome.IsDone()) {
    report->err += Complaint(outcome, true, err);
    return;
  }
  report->out = ReadableResult(outcome.result, out);
  // Commands that only do something answer in one line.
  if (report->out.empty()) report->out = Printable(outcome.summary) + '\n';
}

void ReportJson(const std::vector<Outcome>& outcomes, size_t asked, const Options& options,
                Report* report) {
  if (asked == 1) {
    report->out = ToJson(OutcomeValue(outcomes.front(), *options.command)) + '\n';
    return;
  }
  List list;
  bool ok = outcomes.size() == asked;
  for (const Outcome& outcome : outcomes) {
    ok = ok && outcome.IsDone();
    list.push_back(OutcomeValue(outcome, *options.command));
  }
  report->out =
      ToJson(Record{{"command", options.command->name}, {"ok", ok}, {"hosts", std::move(list)}}) +
      '\n';
}

void ReportRaw(const std::vector<Outcome>& outcomes, size_t asked, const Style& err,
               Report* report) {
  std::set<std::string> told;
  for (const Outcome& outcome : outcomes) {
    if (asked > 1) report->out += fmt::format("==> {} <==\n", Printable(outcome.name));
    if (outcome.failure) {
      report->err += Complaint(outcome, told.insert(outcome.hint).second, err);
    }
    report->out += RawText(outcome);
  }
}

std::string NameOf(const Verdict& verdict, const Options& options) {
  return verdict.name.empty() ? options.command->name : verdict.name;
}

// The verdict with its hint, where it needs one and nobody has been told yet.
Verdict Hinted(const Outcome& outcome, std::set<std::string>* told) {
  Verdict verdict = outcome.verdict;
  if (verdict.state != State::kOk && !outcome.hint.empty() &&
      verdict.text.find(outcome.hint) == std::string::npos && told->insert(outcome.hint).second) {
    verdict.text += " (" + outcome.hint + ")";
  }
  return verdict;
}

Report PluginReport(const std::vector<Outcome>& outcomes, const Options& options) {
  Report report;
  std::set<std::string> told;
  const Verdict& first = outcomes.front().verdict;
  if (outcomes.size() == 1) {
    report.exit_code = static_cast<int>(first.state);
    if (first.whole.empty()) {
      report.out = PluginLine(NameOf(first, options), Hinted(outcomes.front(), &told)) + '\n';
    } else {
      report.out = isatty(STDOUT_FILENO) == 1 ? PrintableLines(first.whole) : first.whole;
    }
    return report;
  }
  Verdict all;
  std::string rows;
  // The worst first: who is told of it by a short message reads no further.
  for (const State state : {State::kCritical, State::kWarning, State::kUnknown, State::kOk}) {
    for (const Outcome& outcome : outcomes) {
      if (outcome.verdict.state == state) {
        rows += HostLine(outcome.name, Hinted(outcome, &told)) + '\n';
      }
    }
  }
  size_t fine = 0;
  for (const Outcome& outcome : outcomes) {
    all.state = Worse(all.state, outcome.verdict.state);
    fine += outcome.verdict.state == State::kOk;
    for (Metric metric : outcome.verdict.metrics) {
      metric.label = outcome.name + ' ' + metric.label;
      all.metrics.push_back(std::move(metric));
    }
  }
  report.exit_code = static_cast<int>(all.state);
  all.text = fmt::format("{} of {} hosts OK", fine, outcomes.size());
  report.out = PluginLine(NameOf(first, options), all) + '\n' + rows;
  return report;
}

}  // namespace

Value OutcomeValue(const Outcome& outcome, const Command& command) {
  const bool done = outcome.IsDone();
  return Record{
      {"name", outcome.name},
      {"host", outcome.endpoint.host},
      {"port", outcome.endpoint.port},
      {"command", command.name},
      {"request", outcome.request},
      {"status", outcome.reply.status},
      {"ok", done},
      {"elapsed_ms", outcome.exchange.ElapsedMillis()},
      {"error", done ? Value() : outcome.summary},
      {"error_kind", outcome.failure ? FailureName(outcome.failure.kind) : Value()},
      {"hint", Value::TextIfAny(outcome.hint)},
      {"result", done ? outcome.result : Value()},
      {"lines", List(outcome.reply.lines.begin(), outcome.reply.lines.end())},
  };
}

Report MakeReport(const std::vector<Outcome>& outcomes, size_t asked, const Options& options,
                  const Style& out, const Style& err) {
  if (options.plugin) return PluginReport(outcomes, options);
  Report report;
  report.exit_code = WorstExit(outcomes);
  switch (options.output) {
    case Output::kTable:
      if (asked == 1) ReportTable(outcomes.front(), out, err, &report);
      break;
    case Output::kJson:
      ReportJson(outcomes, asked, options, &report);
      break;
    case Output::kRaw:
      ReportRaw(outcomes, asked, err, &report);
      break;
  }
  if (options.quiet) report.out.clear();
  if (options.verbose) {
    for (const Outcome& outcome : outcomes) report.err += Sizes(outcome);
  }
  return report;
}

}  // namespace zem::client
