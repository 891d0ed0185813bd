// SPDX-License-Identifier: BSD-2-Clause
#include <limits>

#include <fmt/format.h>

#include "commands/fields.h"
#include "commands/table.h"
#include "output/units.h"
#include "text/ovstring.h"
#include "wire/request_text.h"

namespace zem::client {

namespace {

constexpr const char* kMacroHelp =
    "resolve %newestfile%, %oldestfile%, %newestfolder%, %oldestfolder%";
constexpr const char* kInvertHelp = "check: alert when the answer is yes";

// --- exists

constexpr Argument kExistsArguments[] = {
    {"path", "path,--path", ArgumentKind::kRequired, "PATH",
     "may hold a shell pattern in its name"},
    {"macros", "--macros", ArgumentKind::kFlag, "", kMacroHelp},
    {"size", "--size", ArgumentKind::kOption, "RANGE",
     "check: CRITICAL unless the size is in RANGE"},
};

Plan BuildExists(const Arguments& arguments) {
  if (arguments.Has("size")) (void)BytesRange(arguments.Text("size"));  // found wrong before asking
  RequestText request("TEST-FileExists");
  request.TrimmedLine(arguments.Text("path"), "PATH").Empty(5).Flag(arguments.Has("macros"));
  return PlanOf(request.Finish());
}

Value ParseExists(const Answer& answer) {
  return Value::Of(Record{
      {"path", Value::Text(answer.reply.Line(4))},
      {"size_bytes", Value::Bytes(NumberLine(answer.reply, 1))},
      {"changed", Value::Stamp(StampLine(answer.reply, 2))},
      {"modified", Value::Stamp(StampLine(answer.reply, 3))},
      {"age_min", Value::Minutes(IntLine(answer.reply, 6))},
  });
}

std::string SummariseExists(const Answer& answer, const Value& result) {
  return fmt::format("{}, {}, {} old", answer.reply.Line(4),
                     ReadableBytes(result["size_bytes"].AsNumber()),
                     ReadableMinutes(static_cast<int64_t>(result["age_min"].AsNumber())));
}

Verdict CheckExists(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  const double age = result["age_min"].AsNumber() * 60;
  const double size = result["size_bytes"].AsNumber();
  Thresholds size_limits;
  if (answer.arguments.Has("size"))
    size_limits.critical = BytesRange(answer.arguments.Text("size"));
  return {Worse(thresholds.Judge(age), size_limits.Judge(size)),
          SummariseExists(answer, result),
          {{"age", age, "s", thresholds, {}, {}}, {"size", size, "B", size_limits, 0, {}}}};
}

// --- hash

constexpr std::string_view kAlgorithms[] = {"crc32", "md5", "sha256", "sha512"};

constexpr Argument kHashArguments[] = {
    {"file", "file,--file", ArgumentKind::kRequired, "FILE", "a regular file"},
    {"alg", "--alg", ArgumentKind::kOption, "NAME", "crc32, md5, sha256 (default) or sha512",
     kAlgorithms},
    {"limit", "--limit", ArgumentKind::kOption, "BYTES", "do not read a larger file"},
    {"expect", "--expect", ArgumentKind::kOption, "TEXT",
     "check: CRITICAL unless the hash is TEXT"},
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
  RequestText request("TEST-FileHash");
  request.TrimmedLine(arguments.Text("file"), "FILE")
      .Number(AlgorithmOf(arguments))
      .Number(arguments.Bytes("limit", 0, kMost));
  return PlanOf(request.Finish());
}

// The reply to a file above the limit is a "200" too: "File size 12 MB" in place of the hash.
bool IsSizeLine(std::string_view line) {
  return line.starts_with("File size ");
}

Value ParseHash(const Answer& answer) {
  const std::string_view line = answer.reply.Line(1);
  if (line.empty()) throw BadReply("the reply holds no hash");
  const bool too_large = IsSizeLine(line);
  return Value::Of(Record{
      {"file", Value::Text(answer.arguments.Text("file"))},
      {"algorithm", Value::Text(kAlgorithms[AlgorithmOf(answer.arguments)])},
      {"hash", too_large ? Value() : Value::Text(line)},
      {"above_limit", Value::Flag(too_large)},
  });
}

std::string SummariseHash(const Answer& answer, const Value& result) {
  const std::string* hash = result["hash"].As<std::string>();
  if (hash == nullptr) return fmt::format("above the limit: {}", answer.reply.Line(1));
  return fmt::format("{} {}", *result["algorithm"].As<std::string>(), *hash);
}

std::string ExplainHash(const Reply& reply) {
  if (reply.Line(1) != kHashReadError) return "";
  return "the agent cannot hash an empty file, nor one whose size is a multiple of 20480 bytes";
}

Verdict CheckHash(const Answer& answer, const Value& result, const Thresholds& /*thresholds*/) {
  const std::string* hash = result["hash"].As<std::string>();
  if (hash == nullptr) return {State::kUnknown, SummariseHash(answer, result), {}};
  const std::string expected = answer.arguments.Text("expect");
  if (expected.empty() || EqualsIgnoringCase(*hash, expected)) {
    return {State::kOk, SummariseHash(answer, result), {}};
  }
  return {State::kCritical,
          fmt::format("{} has changed: {}", answer.arguments.Text("file"),
                      SummariseHash(answer, result)),
          {}};
}

// --- compare, contains, grep

constexpr Argument kCompareArguments[] = {
    {"first", "first,--first", ArgumentKind::kRequired, "A", "a regular file"},
    {"second", "second,--second", ArgumentKind::kRequired, "B", "another one"},
    {"time", "--time", ArgumentKind::kFlag, "", "compare modification times"},
    {"size", "--size", ArgumentKind::kFlag, "", "compare sizes"},
    {"contents", "--contents", ArgumentKind::kFlag, "", "compare contents, up to the shorter end"},
    {"macros", "--macros", ArgumentKind::kFlag, "", kMacroHelp},
    {"invert", "--invert", ArgumentKind::kFlag, "", kInvertHelp},
};

Plan BuildCompare(const Arguments& arguments) {
  const bool time = arguments.Has("time");
  bool size = arguments.Has("size");
  bool contents = arguments.Has("contents");
  // Without any flag the agent would answer yes for any two files.
  if (!time && !size && !contents) size = contents = true;
  const bool macros = arguments.Has("macros");
  RequestText request("TEST-FileCompare");
  request.Number(1)
      .TrimmedLine(arguments.Text("first"), "A")
      .TrimmedLine(arguments.Text("second"), "B")
      .Flag(time)
      .Flag(size)
      .Flag(contents)
      .Empty(5)
      .Flag(macros)
      .Flag(macros);
  return PlanOf(request.Finish());
}

constexpr Argument kContainsArguments[] = {
    {"first", "first,--first", ArgumentKind::kRequired, "A", "a regular file"},
    {"second", "second,--second", ArgumentKind::kRequired, "B", "a file of at most 8 MiB"},
    {"macros", "--macros", ArgumentKind::kFlag, "", "resolve file macros in A"},
    {"invert", "--invert", ArgumentKind::kFlag, "", kInvertHelp},
};

Plan BuildContains(const Arguments& arguments) {
  RequestText request("TEST-FileCompare");
  request.Number(2)
      .TrimmedLine(arguments.Text("first"), "A")
      .TrimmedLine(arguments.Text("second"), "B")
      .Empty(5)
      .Flag(arguments.Has("macros"));
  return PlanOf(request.Finish());
}

constexpr Argument kGrepArguments[] = {
    {"file", "file,--file", ArgumentKind::kRequired, "FILE", "a regular file"},
    {"text", "text,--text", ArgumentKind::kRequired, "TEXT", "what to look for, no pattern"},
    {"ignore-case", "-i,--ignore-case", ArgumentKind::kFlag, "", "A and a are the same"},
    {"word", "--word", ArgumentKind::kFlag, "", "whole words alone"},
    {"macros", "--macros", ArgumentKind::kFlag, "", kMacroHelp},
    {"invert", "--invert", ArgumentKind::kFlag, "", kInvertHelp},
};

Plan BuildGrep(const Arguments& arguments) {
  RequestText request("TEST-FileCompare");
  request.Number(3)
      .TrimmedLine(arguments.Text("file"), "FILE")
      .TrimmedLine(arguments.Text("text"), "TEXT")
      .Flag(!arguments.Has("ignore-case"))
      .Flag(arguments.Has("word"))
      .Empty(5)
      .Flag(arguments.Has("macros"));
  return PlanOf(request.Finish());
}

Value ParseCompare(const Answer& answer) {
  return Value::Of(Record{{"equal", Value::Flag(FlagLine(answer.reply, 1))}});
}

Value ParseFound(const Answer& answer) {
  return Value::Of(Record{{"found", Value::Flag(FlagLine(answer.reply, 1))}});
}

std::string SummariseCompare(const Answer& /*answer*/, const Value& result) {
  return *result["equal"].As<bool>() ? "the files are equal" : "the files differ";
}

std::string SummariseContains(const Answer& /*answer*/, const Value& result) {
  return *result["found"].As<bool>() ? "the first file contains the second"
                                     : "the first file does not contain the second";
}

std::string SummariseGrep(const Answer& answer, const Value& result) {
  return fmt::format("\"{}\" is {} {}", answer.arguments.Text("text"),
                     *result["found"].As<bool>() ? "in" : "not in", answer.arguments.Text("file"));
}

Verdict YesOrNo(const Answer& answer, bool yes, std::string text) {
  const bool fine = yes != answer.arguments.Has("invert");
  return {fine ? State::kOk : State::kCritical, std::move(text), {}};
}

Verdict CheckCompare(const Answer& answer, const Value& result, const Thresholds& /*limits*/) {
  return YesOrNo(answer, *result["equal"].As<bool>(), SummariseCompare(answer, result));
}

Verdict CheckContains(const Answer& answer, const Value& result, const Thresholds& /*limits*/) {
  return YesOrNo(answer, *result["found"].As<bool>(), SummariseContains(answer, result));
}

Verdict CheckGrep(const Answer& answer, const Value& result, const Thresholds& /*limits*/) {
  return YesOrNo(answer, *result["found"].As<bool>(), SummariseGrep(answer, result));
}

}  // namespace

const Command kExistsCommand = {
    .name = "exists",
    .summary = "presence, size and age of a file",
    .switch_keys = "fileexists=1",
    .arguments = kExistsArguments,
    .build = BuildExists,
    .parse = ParseExists,
    .summarise = SummariseExists,
    .check = CheckExists,
    .range = MinutesRange,
    .unavailable = State::kCritical,
    .notes =
        "As a check: a missing file is CRITICAL; -w and -c apply to the age, in minutes\n"
        "(units s, m, h, d).",
};

const Command kHashCommand = {
    .name = "hash",
    .summary = "checksum or digest of a file",
    .switch_keys = "filecrc=1",
    .arguments = kHashArguments,
    .build = BuildHash,
    .parse = ParseHash,
    .summarise = SummariseHash,
    .check = CheckHash,
    .range = nullptr,
    .unavailable = State::kCritical,
    .explain = ExplainHash,
    .notes =
        "crc32 is the complement of the usual CRC-32, in decimal. A file of 0 or of a\n"
        "multiple of 20480 bytes cannot be hashed by the agent (\"Read error\").",
};

const Command kCompareCommand = {
    .name = "compare",
    .summary = "whether two files match",
    .switch_keys = "comparefiles=1",
    .arguments = kCompareArguments,
    .build = BuildCompare,
    .parse = ParseCompare,
    .summarise = SummariseCompare,
    .check = CheckCompare,
    .range = nullptr,
    .unavailable = State::kCritical,
    .notes =
        "Without --time, --size or --contents: size and contents. As a check: files that\n"
        "differ are CRITICAL.",
};

const Command kContainsCommand = {
    .name = "contains",
    .summary = "whether a file contains all of another one",
    .switch_keys = "comparefiles=1",
    .arguments = kContainsArguments,
    .build = BuildContains,
    .parse = ParseFound,
    .summarise = SummariseContains,
    .check = CheckContains,
    .range = nullptr,
    .unavailable = State::kCritical,
    .notes = "As a check: CRITICAL when it does not.",
};

const Command kGrepCommand = {
    .name = "grep",
    .summary = "whether a file contains a text",
    .switch_keys = "comparefiles=1",
    .arguments = kGrepArguments,
    .build = BuildGrep,
    .parse = ParseFound,
    .summarise = SummariseGrep,
    .check = CheckGrep,
    .range = nullptr,
    .unavailable = State::kCritical,
    .notes = "As a check: CRITICAL when it does not (with --invert, when it does).",
};

}  // namespace zem::client
