// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include <fmt/format.h>

#include "commands/forms.h"
#include "commands/table.h"
#include "text/path.h"

namespace zem::client {

namespace {

// --- disk

constexpr Argument kDiskArguments[] = {
    {"path", "path,--path", kRequired, "PATH", "anything on the file system"},
};

// Shares as df reckons them: of what ordinary users can use, the superuser's reserve left out.
Value ParseDisk(const Answer& answer) {
  const double total = NumberLine(answer.reply, 1);
  const double free = NumberLine(answer.reply, 2);
  const double available = NumberLine(answer.reply, 3);
  const double used = total - free;
  const double usable = used + std::max(available, 0.0);
  const double free_percent = usable > 0 ? 100 * std::max(available, 0.0) / usable : 0;
  return Record{
      {"path", answer.arguments.Text("path")},
      {"total_bytes", Value::Bytes(total)},
      {"used_bytes", Value::Bytes(used)},
      {"free_bytes", Value::Bytes(free)},
      {"available_bytes", Value::Bytes(available)},
      {"used_percent", Value::Percent(usable > 0 ? 100 - free_percent : 0)},
      {"free_percent", Value::Percent(free_percent)},
      {"query_ms", MillisOf(answer.reply, 4)},
  };
}

// The same limit seen from the other side: performance data shows what is used.
std::optional<Range> UsedRange(const std::optional<Range>& free, double usable) {
  if (!free) return std::nullopt;
  const double unit = free->percent ? usable / 100 : 1;
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  Range used;
  used.inside = free->inside;
  const auto mirror = [&](double end) { return std::round(std::max(usable - end * unit, 0.0)); };
  used.low = free->high == kInfinity ? 0 : mirror(free->high);
  used.high = free->low == -kInfinity ? kInfinity : mirror(free->low);
  return used;
}

Verdict CheckDisk(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  const double available = result["available_bytes"].AsNumber();
  const double used = result["used_bytes"].AsNumber();
  const double usable = used + std::max(available, 0.0);
  const auto alerts = [&](const std::optional<Range>& range) {
    return range && range->Alerts(range->percent ? result["free_percent"].AsNumber() : available);
  };
  const Thresholds limits = {UsedRange(thresholds.warning, usable),
                             UsedRange(thresholds.critical, usable)};
  return {alerts(thresholds.critical)  ? State::kCritical
          : alerts(thresholds.warning) ? State::kWarning
                                       : State::kOk,
          "",
          {{answer.arguments.Text("path"), used, "B", limits, 0, usable}}};
}

// --- du

constexpr Argument kDuArguments[] = {
    {"path", "path,--path", kRequired, "FOLDER", "what to measure"},
    {"mask", "mask,--mask", kOptional, "MASK", "shell pattern for files (*)"},
    {"recursive", "-r,--recursive", kFlag, "", "include all sub-folders"},
    {"macros", "--macros", kFlag, "", kMacroHelp},
};

// What stands behind the last "/" may be a pattern too, or stand for a file.
bool NamesFiles(const Arguments& arguments) {
  OvString last = ExtractFileName(arguments.Text("path"));
  last.LowerCase();
  const bool macro = arguments.Has("macros") && last.View().ends_with("file%");
  return macro || last.View().find_first_of("*?[") != std::string_view::npos;
}

// A folder ends in "/": the agent takes the last name of what is no folder for a mask, so one that
// is mistyped would hold nothing.
std::string MeasuredPath(const Arguments& arguments) {
  std::string path = arguments.Text("path");
  if (!arguments.Has("mask") && (NamesFiles(arguments) || path.ends_with('/'))) return path;
  return path + (path.ends_with('/') ? "" : "/") + arguments.Text("mask");
}

Plan BuildDu(const Arguments& arguments) {
  if (arguments.Text("mask").find('/') != std::string::npos) {
    throw std::invalid_argument("MASK holds a \"/\"");
  }
  Arguments asked = arguments;
  asked.Set("path", {MeasuredPath(arguments)});
  return PlanFor("TEST-FolderSize path recursive? - - - - - macros?", asked);
}

Value ParseDu(const Answer& answer) {
  const Arguments& arguments = answer.arguments;
  return Record{
      {"path", arguments.Has("mask") ? MeasuredPath(arguments) : arguments.Text("path")},
      {"size_bytes", BytesOf(answer.reply, 1)},
  };
}

// --- count

constexpr Argument kCountArguments[] = {
    {"folder", "folder,--folder", kRequired, "FOLDER", "where to count"},
    {"mask", "mask,--mask", kOptional, "MASK", "shell pattern for names (*)"},
    {"recursive", "-r,--recursive", kFlag, "", "include all sub-folders"},
    {"older", "--older", kOption, "MIN", "files changed more than MIN minutes ago"},
    {"newer", "--newer", kOption, "MIN", "files changed less than MIN minutes ago"},
    {"bigger", "--bigger", kOption, "BYTES", "files above a size (units K, M, G)"},
    {"smaller", "--smaller", kOption, "BYTES", "files below a size"},
    {"dirs", "--dirs", kFlag, "", "count sub-folders instead of files"},
    {"macros", "--macros", kFlag, "", kMacroHelp},
};

constexpr Field kCountReply[] = {{"folder"}, {"mask", 0, TextOf, "*"}, {"count", 1, CountOf}};

constexpr const char* kSkipped =
    "-r enters only folders that the agent's user may write, and no hidden ones";

Value ParseCount(const Answer& answer) {
  Record record = *ReadFields(kCountReply, answer).As<Record>();
  const bool none = record.back().second.AsNumber() == 0;
  if (none && answer.arguments.Has("recursive")) record.emplace_back("note", kSkipped);
  return record;
}

std::string ExplainCount(const Reply& /*reply*/) {
  return "no such folder, one closed to the agent's user, or with -r one in which its user may "
         "write "
         "nothing";
}

// The agent reckons with limits of 32 bits.
constexpr int64_t kLargestLimit = std::numeric_limits<int32_t>::max();

struct CountMode {
  int number = 0;
  int64_t limit = 0;
};

CountMode ModeOf(const Arguments& arguments) {
  static constexpr const char* kModes[] = {"older", "newer", "bigger", "smaller", "dirs"};
  CountMode mode;
  for (int i = 0; i < 5; ++i) {
    if (!arguments.Has(kModes[i])) continue;
    if (mode.number != 0) {
      throw std::invalid_argument("one of --older, --newer, --bigger, --smaller, --dirs at a time");
    }
    mode.number = i + 1;
    if (i < 2) mode.limit = arguments.Int(kModes[i], 0, 0, kLargestLimit);
    if (i == 2 || i == 3) mode.limit = arguments.Bytes(kModes[i], 0, kLargestLimit);
  }
  return mode;
}

Plan BuildCount(const Arguments& arguments) {
  const CountMode mode = ModeOf(arguments);
  return PlanFor("TEST-CountFiles folder mask=* recursive? % % - - - - - macros?", arguments,
                 {mode.number, mode.limit});
}

std::string SummariseCount(const Answer& answer, const Value& result) {
  const std::string* note = result["note"].As<std::string>();
  return fmt::format("{:.0f} {} in {}{}", result["count"].AsNumber(),
                     answer.arguments.Has("dirs") ? "sub-folders" : "files",
                     answer.arguments.Text("folder"),
                     note == nullptr ? "" : fmt::format(" ({})", *note));
}

constexpr Command kRows[] = {
    {
        .name = "disk",
        .summary = "size and free space of a file system",
        .switch_keys = "unc=1",
        .arguments = kDiskArguments,
        .subject = "{path}",
        .build = Request<"TEST-UNC path">,
        .parse = ParseDisk,
        .summarise = Says<"{path} {available_bytes} free ({free_percent:.0f}%)">,
        .check = CheckDisk,
        .range = FreeSpaceRange,
        .unavailable = State::kCritical,
        .notes = "As a check: -w 20% -c 5G alert when less than that is free; ranges apply to the\n"
                 "free space (bytes, or a share with %). Performance data shows what is used.",
    },
    {
        .name = "du",
        .summary = "size of the files in a folder",
        .switch_keys = "foldersize=1",
        .arguments = kDuArguments,
        .subject = "{path}",
        .build = BuildDu,
        .parse = ParseDu,
        .summarise = Says<"{path} holds {size_bytes}">,
        .check = Judge<"size", "size_bytes">,
        .range = BytesRange,
        .notes =
            "As a check: -w and -c apply to the size (units K, M, G, T). Symbolic links do not\n"
            "count, and neither do sub-folders that the agent's user may not read.",
    },
    {
        .name = "count",
        .summary = "number of files in a folder",
        .switch_keys = "countfiles=1",
        .arguments = kCountArguments,
        .subject = "{folder}",
        .build = BuildCount,
        .parse = ParseCount,
        .summarise = SummariseCount,
        .check = Judge<"count", "count">,
        .explain = ExplainCount,
        .notes =
            "As a check: -w and -c apply to the number. With -r the agent enters only folders that "
            "its\n"
            "user may write and whose names begin with no dot; the packaged agent's user may write "
            "few\n"
            "of the system's. du -r enters all that it may read.",
    },
};

}  // namespace

const std::span<const Command> kSpaceCommands = kRows;

}  // namespace zem::client
