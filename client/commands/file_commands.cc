// SPDX-License-Identifier: BSD-2-Clause

#include <fmt/format.h>

#include "commands/forms.h"
#include "commands/table.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr const char* kInvertHelp = "check: alert when the answer is yes";

// --- exists

constexpr Argument kExistsArguments[] = {
    {"path", "path,--path", kRequired, "PATH", "may hold a shell pattern in its name"},
    {"macros", "--macros", kFlag, "", kMacroHelp},
    {"size", "--size", kOption, "RANGE", "check: CRITICAL unless the size is in RANGE"},
};

Plan BuildExists(const Arguments& arguments) {
  if (arguments.Has("size")) (void)BytesRange(arguments.Text("size"));  // found wrong before asking
  return PlanFor("TEST-FileExists path - - - - - macros?", arguments);
}

constexpr Field kExistsReply[] = {{"path", 4},
                                  {"size_bytes", 1, BytesOf},
                                  {"changed", 2, StampOf},
                                  {"modified", 3, StampOf},
                                  {"age_min", 6, MinutesOf}};

Verdict CheckExists(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  Thresholds size_limits;
  if (answer.arguments.Has("size")) {
    size_limits.critical = BytesRange(answer.arguments.Text("size"));
  }
  Metric age = MetricOf("age", result["age_min"], thresholds);
  const Metric size = MetricOf("size", result["size_bytes"], size_limits);
  age.least = std::nullopt;  // a file may be of the future
  return {Worse(thresholds.Judge(age.value), size_limits.Judge(size.value)), "", {age, size}};
}

// --- hash

constexpr std::string_view kAlgorithms[] = {"crc32", "md5", "sha256", "sha512"};

constexpr Argument kHashArguments[] = {
    {"file", "file,--file", kRequired, "FILE", "a regular file"},
    {"alg", "--alg", kOption, "NAME", "crc32, md5, sha256 (default) or sha512", kAlgorithms},
    {"limit", "--limit", kOption, "BYTES", "do not read a larger file"},
    {"expect", "--expect", kOption, "TEXT", "check: CRITICAL unless the hash is TEXT"},
};

int AlgorithmOf(const Arguments& arguments) {
  const std::string name = arguments.Text("alg", "sha256");
  for (int i = 0; i < 4; ++i) {
    if (EqualsIgnoringCase(name, kAlgorithms[i])) return i;
  }
  throw std::invalid_argument("--alg: \"" + name + "\" is not crc32, md5, sha256 or sha512");
}

Plan BuildHash(const Arguments& arguments) {
  constexpr int64_t kMost = int64_t{1} << 52;
  return PlanFor("TEST-FileHash file % %", arguments,
                 {AlgorithmOf(arguments), arguments.Bytes("limit", 0, kMost)});
}

// The reply to a file above the limit is a "200" too: "File size 12 MB" in place of the hash.
bool IsSizeLine(std::string_view line) {
  return line.starts_with("File size ");
}

Value ParseHash(const Answer& answer) {
  const std::string_view line = answer.reply.Line(1);
  if (line.empty()) throw BadReply("the reply holds no hash");
  const bool too_large = IsSizeLine(line);
  return Record{
      {"file", answer.arguments.Text("file")},
      {"algorithm", kAlgorithms[AlgorithmOf(answer.arguments)]},
      {"hash", too_large ? Value() : line},
      {"above_limit", too_large},
  };
}

std::string SummariseHash(const Answer& answer, const Value& result) {
  if (result["hash"].IsNull()) return fmt::format("above the limit: {}", answer.reply.Line(1));
  return Sentence("{algorithm} {hash}", result);
}

std::string ExplainHash(const Reply& reply) {
  if (reply.Line(1) != kHashReadError) return "";
  return "the agent cannot hash an empty file, nor one whose size is a multiple of 20480 bytes";
}

Verdict CheckHash(const Answer& answer, const Value& result, const Thresholds& /*thresholds*/) {
  const std::string* hash = result["hash"].As<std::string>();
  if (hash == nullptr) return {State::kUnknown, "", {}};
  const std::string expected = answer.arguments.Text("expect");
  if (expected.empty() || EqualsIgnoringCase(*hash, expected)) return {State::kOk, "", {}};
  return {State::kCritical, Sentence("{file} has changed: {algorithm} {hash}", result), {}};
}

// --- compare, contains, grep

constexpr Argument kCompareArguments[] = {
    {"first", "first,--first", kRequired, "A", "a regular file"},
    {"second", "second,--second", kRequired, "B", "another one"},
    {"time", "--time", kFlag, "", "compare modification times"},
    {"size", "--size", kFlag, "", "compare sizes"},
    {"contents", "--contents", kFlag, "", "compare contents, up to the shorter end"},
    {"macros", "--macros", kFlag, "", kMacroHelp},
    {"invert", "--invert", kFlag, "", kInvertHelp},
};

Plan BuildCompare(const Arguments& arguments) {
  const bool time = arguments.Has("time");
  bool size = arguments.Has("size");
  bool contents = arguments.Has("contents");
  // Without any flag the agent would answer yes for any two files.
  if (!time && !size && !contents) size = contents = true;
  return PlanFor("TEST-FileCompare 1 first:A second:B % % % - - - - - macros? macros?", arguments,
                 {time, size, contents});
}

constexpr Argument kContainsArguments[] = {
    {"first", "first,--first", kRequired, "A", "a regular file"},
    {"second", "second,--second", kRequired, "B", "a file of at most 8 MiB"},
    {"macros", "--macros", kFlag, "", "resolve file macros in A"},
    {"invert", "--invert", kFlag, "", kInvertHelp},
};

constexpr Argument kGrepArguments[] = {
    {"file", "file,--file", kRequired, "FILE", "a regular file"},
    {"text", "text,--text", kRequired, "TEXT", "what to look for, no pattern"},
    {"ignore-case", "-i,--ignore-case", kFlag, "", "A and a are the same"},
    {"word", "--word", kFlag, "", "whole words alone"},
    {"macros", "--macros", kFlag, "", kMacroHelp},
    {"invert", "--invert", kFlag, "", kInvertHelp},
};

constexpr Field kCompareReply[] = {{"equal", 1, FlagOf}};
constexpr Field kFoundReply[] = {{"found", 1, FlagOf}};

std::string SummariseGrep(const Answer& answer, const Value& result) {
  return fmt::format("\"{}\" is {} {}", answer.arguments.Text("text"),
                     IsYes(result) ? "in" : "not in", answer.arguments.Text("file"));
}

constexpr Command kRows[] = {
    {
        .name = "exists",
        .summary = "presence, size and age of a file",
        .switch_keys = "fileexists=1",
        .arguments = kExistsArguments,
        .subject = "{path}",
        .build = BuildExists,
        .parse = Fields<kExistsReply>,
        .summarise = Says<"{path}, {size_bytes}, {age_min} old">,
        .check = CheckExists,
        .range = MinutesRange,
        .unavailable = State::kCritical,
        .notes = "As a check: a missing file is CRITICAL; -w and -c apply to the age, in minutes\n"
                 "(units s, m, h, d).",
    },
    {
        .name = "hash",
        .summary = "checksum or digest of a file",
        .switch_keys = "filecrc=1",
        .arguments = kHashArguments,
        .subject = "{file}",
        .build = BuildHash,
        .parse = ParseHash,
        .summarise = SummariseHash,
        .check = CheckHash,
        .range = nullptr,
        .unavailable = State::kCritical,
        .explain = ExplainHash,
        .notes = "crc32 is the complement of the usual CRC-32, in decimal. A file of 0 or of a\n"
                 "multiple of 20480 bytes cannot be hashed by the agent (\"Read error\").",
    },
    {
        .name = "compare",
        .summary = "whether two files match",
        .switch_keys = "comparefiles=1",
        .arguments = kCompareArguments,
        .subject = "{first}, {second}",
        .build = BuildCompare,
        .parse = Fields<kCompareReply>,
        .summarise = SaysWhether<"the files are equal", "the files differ">,
        .check = JudgeFlag,
        .range = nullptr,
        .unavailable = State::kCritical,
        .notes = "Without --time, --size or --contents: size and contents. As a check: files that\n"
                 "differ are CRITICAL.",
    },
    {
        .name = "contains",
        .summary = "whether a file contains all of another one",
        .switch_keys = "comparefiles=1",
        .arguments = kContainsArguments,
        .subject = "{first}, {second}",
        .build = Request<"TEST-FileCompare 2 first:A second:B - - - - - macros?">,
        .parse = Fields<kFoundReply>,
        .summarise = SaysWhether<"the first file contains the second",
                                 "the first file does not contain the second">,
        .check = JudgeFlag,
        .range = nullptr,
        .unavailable = State::kCritical,
        .notes = "As a check: CRITICAL when it does not.",
    },
    {
        .name = "grep",
        .summary = "whether a file contains a text",
        .switch_keys = "comparefiles=1",
        .arguments = kGrepArguments,
        .subject = "{file}",
        .build = Request<"TEST-FileCompare 3 file text ignore-case! word? - - - - - macros?">,
        .parse = Fields<kFoundReply>,
        .summarise = SummariseGrep,
        .check = JudgeFlag,
        .range = nullptr,
        .unavailable = State::kCritical,
        .notes = "As a check: CRITICAL when it does not (with --invert, when it does).",
    },
};

}  // namespace

const std::span<const Command> kFileCommands = kRows;

}  // namespace zem::client
