// SPDX-License-Identifier: BSD-2-Clause
#include "app/fleet.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "app/interrupt.h"
#include "app/outcome.h"
#include "model/printable.h"
#include "output/table.h"
#include "output/units.h"

namespace zem::client {

namespace {

constexpr Milliseconds kFrameTime{100};

// How a host did: the group it is shown and counted in, and the short word for that.
using Kind = std::pair<int, std::string>;
constexpr int kNoReply = 0;
constexpr int kRefusal = 1;
constexpr int kFine = 2;

Kind KindOf(const Outcome& outcome) {
  if (outcome.failure.wrong_password) return {kNoReply, "wrong_password"};
  if (outcome.failure) return {kNoReply, FailureName(outcome.failure.kind)};
  if (outcome.IsDone()) return {kFine, "ok"};
  return {kRefusal, outcome.reply.status ? std::to_string(*outcome.reply.status) : "none"};
}

Row HeaderRow() {
  return {{"HOST"}, {"STATUS"}, {"TIME"}, {"ANSWER"}};
}

Row HostRow(const Outcome& outcome) {
  static constexpr Tone kTones[] = {Tone::kBad, Tone::kWarning, Tone::kGood};
  const auto [group, word] = KindOf(outcome);
  return {{Printable(outcome.name)},
          {word, kTones[group]},
          {ReadableMillis(outcome.exchange.ElapsedMillis()), Tone::kPlain, true},
          {Printable(outcome.summary)}};
}

// What to do about the failures, each hint once, and how many hosts did how.
std::string Summary(const std::vector<Outcome>& outcomes, size_t asked, const Style& style) {
  std::map<Kind, size_t> counts;
  std::set<std::string> told;
  std::vector<Row> rows;
  for (const Outcome& outcome : outcomes) {
    const Kind kind = KindOf(outcome);
    ++counts[kind];
    if (outcome.hint.empty() || !told.insert(outcome.hint).second) continue;
    rows.push_back({{fmt::format("{}: {}", kind.second, Printable(outcome.hint))}});
  }
  std::string sum = fmt::format("{} ok", counts[{kFine, "ok"}]);
  for (const auto& [kind, count] : counts) {
    if (kind.first == kFine) continue;
    std::string word = (kind.first == kRefusal ? "status " : "") + kind.second;
    std::replace(word.begin(), word.end(), '_', ' ');
    sum += fmt::format(", {} {}", count, word);
  }
  if (outcomes.size() < asked) sum += fmt::format(", {} unanswered", asked - outcomes.size());
  rows.push_back({{sum, Tone::kBold}});
  const size_t room = Terminal::Of(STDERR_FILENO).value_or(Terminal{SIZE_MAX, 0}).columns;
  std::string text;
  for (const Row& row : rows) text += RowText(row, {0}, style, room);
  return text;
}

void Write(const std::string& text, FILE* file) {
  fwrite(text.data(), 1, text.size(), file);
  fflush(file);
}

}  // namespace

FleetView::FleetView(const std::vector<Target>& targets, const Options& options)
    : options_(options),
      out_(Style::For(STDOUT_FILENO)),
      err_(Style::For(STDERR_FILENO)),
      outcomes_(targets.size()),
      rows_(targets.size() > 1 && options.output == Output::kTable && !options.plugin &&
            !options.quiet) {
  if (!rows_) return;
  terminal_ = Terminal::Of(STDOUT_FILENO);
  if (terminal_) return;
  // The widest words there are, since the rows to come are not known.
  std::vector<Row> rows = {HeaderRow(), {{""}, {"wrong_password"}, {"9.99 ms"}}};
  for (const Target& target : targets) rows.push_back({{Printable(target.name)}});
  widths_ = Widths(rows);
  rows.resize(1);
  rows[0][2].right = true;
  Write(RowText(rows[0], widths_, out_), stdout);
}

void FleetView::Take(size_t number, Outcome outcome) {
  outcomes_[number] = std::move(outcome);
  arrived_.push_back(number);
}

Milliseconds FleetView::Patience() const {
  return terminal_ && drawn_hosts_ < arrived_.size() ? kFrameTime : kLongestWait;
}

void FleetView::Show() {
  if (!rows_) return;
  if (!terminal_) return Write(PlainRows(false), stdout);
  if (drawn_hosts_ < arrived_.size() && Clock::now() - drawn_at_ >= kFrameTime) {
    Write(Frame(), stdout);
  }
}

std::string FleetView::PlainRows(bool over_gaps) {
  std::string text;
  for (; written_ < outcomes_.size() && (outcomes_[written_] || over_gaps); ++written_) {
    if (outcomes_[written_]) text += RowText(HostRow(*outcomes_[written_]), widths_, out_);
  }
  return text;
}

// All in one write. A line that is too long is cut: the terminal would make two of it, which is one
// more to go back over.
std::string FleetView::Frame() {
  const size_t most = terminal_->lines - std::min<size_t>(terminal_->lines - 1, 2);
  std::string text = Erased() + "\033[?7l";
  for (size_t i = arrived_.size() - std::min(most, arrived_.size()); i < arrived_.size(); ++i) {
    const Row row = HostRow(*outcomes_[arrived_[i]]);
    std::string rest = fmt::format("  {}  {}", row[0].text, row[3].text);
    const size_t room = terminal_->columns - std::min(terminal_->columns, Columns(row[1].text));
    while (Columns(rest) > room) rest.pop_back();
    text += out_(row[1].tone, row[1].text) + rest + '\n';
  }
  drawn_lines_ = std::min(most, arrived_.size()) + 1;
  drawn_hosts_ = arrived_.size();
  drawn_at_ = Clock::now();
  const std::string state = fmt::format("{} of {} ...", arrived_.size(), outcomes_.size());
  return text + out_(Tone::kFaint, state) + "\n\033[?7h";
}

// Lines are deleted one by one: some terminals keep in their history what is cleared as a screen.
std::string FleetView::Erased() const {
  return drawn_lines_ == 0 ? "" : fmt::format("\033[{0}A\r\033[{0}M", drawn_lines_);
}

int FleetView::Finish() {
  std::string text = Erased();
  if (rows_ && !terminal_) text += PlainRows(true);
  std::vector<Outcome> outcomes;
  for (std::optional<Outcome>& each : outcomes_) {
    if (each) outcomes.push_back(std::move(*each));
  }
  if (outcomes.empty() && outcomes_.size() == 1) return kExitDone;
  const Report report = MakeReport(outcomes, outcomes_.size(), options_, out_, err_);
  if (terminal_) {
    std::stable_sort(outcomes.begin(), outcomes.end(),
                     [](const Outcome& a, const Outcome& b) { return KindOf(a) < KindOf(b); });
    std::vector<Row> rows = {HeaderRow()};
    for (const Outcome& outcome : outcomes) rows.push_back(HostRow(outcome));
    text += Columned(std::move(rows), out_, terminal_->columns);
  }
  Write(text + report.out, stdout);
  if (rows_) Write(Summary(outcomes, outcomes_.size(), err_), stderr);
  Write(report.err, stderr);
  return report.exit_code;
}

}  // namespace zem::client
