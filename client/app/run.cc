// SPDX-License-Identifier: BSD-2-Clause
#include "app/run.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <vector>

#include <fmt/format.h>

#include "app/fleet.h"
#include "app/options.h"
#include "app/outcome.h"
#include "app/targets.h"
#include "model/printable.h"
#include "output/table.h"
#include "output/units.h"

namespace zem::client {

namespace {

// A local command that lacks its file takes the agent's configuration.
Arguments LocalArguments(const Options& options) {
  Arguments arguments = options.arguments;
  if (!arguments.Has("file") && !options.agent_config.empty()) {
    arguments.Set("file", {options.agent_config});
  }
  return arguments;
}

int RunLocal(const Options& options) {
  (void)TakeEnvironmentPassword();  // out of reach of the scripts that scripttest runs
  const LocalResult result = options.command->run(LocalArguments(options));
  if (!options.quiet) {
    const std::string text =
        options.output == Output::kJson ? ToJson(result.result) + '\n' : result.text;
    fmt::print("{}", text);
  }
  return result.exit_code;
}

std::string ProgressLine(size_t sent, size_t total) {
  constexpr size_t kCells = 30;
  const size_t filled = total == 0 ? kCells : std::min(sent, total) * kCells / total;
  const std::string bar = std::string(filled, '#') + std::string(kCells - filled, '.');
  // Behind the last byte the agent gets a second to take it all in, before the digest is sent.
  const char* note = sent == total ? "  checking ..." : "";
  return fmt::format("[{}] {:3}%  {} of {}{}", bar, total == 0 ? 100 : sent * 100 / total,
                     ReadableBytes(static_cast<double>(sent)),
                     ReadableBytes(static_cast<double>(total)), note);
}

// How far a transfer is, on standard error: one line, rewritten in place at most ten times a second
// and wiped when it goes.
class ProgressBar {
 public:
  ~ProgressBar() {
    if (width_ > 0) fmt::print(stderr, "\r{}\r", std::string(width_, ' '));
  }
  void Update(size_t sent, size_t total) {
    constexpr Milliseconds kPause{100};
    const auto now = Clock::now();
    if (sent < total && now - drawn_ < kPause) return;
    drawn_ = now;
    std::string line = ProgressLine(sent, total);
    const size_t width = line.size();
    line.resize(std::max(width, width_), ' ');  // over what a longer line left
    width_ = width;
    fmt::print(stderr, "\r{}", line);
    fflush(stderr);
  }

 private:
  Clock::time_point drawn_;
  size_t width_ = 0;
};

// A transfer to one host shows how far it is, to a person at a terminal.
Outcome AskWithProgress(const Target& target, Plan* plan, const Options& options) {
  ProgressBar bar;
  if (!options.plugin && !options.quiet && isatty(STDERR_FILENO) == 1) {
    plan->progress = [&bar](size_t sent, size_t total) { bar.Update(sent, total); };
  }
  return AskHost(target, *plan, options);
}

int RunRemote(const Options& options) {
  if (options.command->answer_here != nullptr) {
    const std::string answer = options.command->answer_here(options.arguments);
    fmt::print("{}", answer);
    if (!answer.empty()) return kExitDone;
  }
  Plan plan = options.command->build(options.arguments);
  if (!options.plugin) {
    for (const std::string& warning : plan.warnings) {
      fmt::print(stderr, "zemctl: warning: {}\n", Printable(warning));
    }
  }
  const std::vector<Target> targets = FindTargets(options);
  if (targets.size() > 1 || options.watch > 0) return AskFleet(targets, plan, options);
  std::vector<Outcome> outcomes;  // a list would copy what may be a long reply
  outcomes.push_back(AskWithProgress(targets.front(), &plan, options));
  const Report report =
      MakeReport(outcomes, 1, options, Style::For(STDOUT_FILENO), Style::For(STDERR_FILENO));
  fwrite(report.out.data(), 1, report.out.size(), stdout);
  fwrite(report.err.data(), 1, report.err.size(), stderr);
  return report.exit_code;
}

int RunParsed(int argc, const char* const* argv, Options* options) {
  if (argc > 1 && argv[1] == std::string_view("--complete")) {
    fmt::print("{}", CompletionLines({argv + 2, argv + argc}));
    return kExitDone;
  }
  if (const std::optional<int> exit_code = ParseCommandLine(argc, argv, options)) {
    return *exit_code;
  }
  return options->command->run != nullptr ? RunLocal(*options) : RunRemote(*options);
}

// A full disk or a closed pipe must not look like an answer.
int WrittenOut(int exit_code, const Options& options) {
  if (fflush(stdout) == 0 && ferror(stdout) == 0) return exit_code;
  fputs("zemctl: the answer could not be written to standard output\n", stderr);
  return options.plugin || exit_code == kExitDone ? options.UsageExit() : exit_code;
}

}  // namespace

int Run(int argc, const char* const* argv) {
  Options options;
  try {
    return WrittenOut(RunParsed(argc, argv, &options), options);
  } catch (const std::exception& error) {
    const std::string text = Printable(error.what());
    if (options.plugin) {
      fputs(("ZEM UNKNOWN - " + text + '\n').c_str(), stdout);
    } else {
      fputs(("zemctl: " + text + '\n').c_str(), stderr);
    }
    return WrittenOut(options.UsageExit(), options);
  }
}

}  // namespace zem::client
