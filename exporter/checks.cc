// SPDX-License-Identifier: BSD-2-Clause
#include "checks.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>

#include "commands/table.h"
#include "text/ovstring.h"

namespace zem::exporter {

using client::Answer;
using client::Command;
using client::Milliseconds;
using client::Reply;
using client::Value;

namespace {

enum class OptionKind : uint8_t {
  kText,
  kFlag,
  kTexts,      // one step each
  kHostPorts,  // the same, HOST:PORT
  kWords,      // all of them for one step
};

struct Option {
  const char* key;
  const char* argument;  // of the client's command
  OptionKind kind = OptionKind::kText;
  bool required = false;
  const char* label = nullptr;  // of the figures
};

constexpr Option kRecursive = {"recursive", "recursive", OptionKind::kFlag};
constexpr Option kMacros = {"macros", "macros", OptionKind::kFlag};
constexpr Option kPaths = {"paths", "path", OptionKind::kTexts, true, "path"};

constexpr Option kDiskOptions[] = {kPaths};
constexpr Option kProcessesOptions[] = {{"names", "name", OptionKind::kTexts, true, "name"}};
constexpr Option kDuOptions[] = {kPaths, kRecursive, kMacros};
// Two counts in one folder differ in their filter, and their figures have to.
constexpr Option kCountOptions[] = {{"folder", "folder", OptionKind::kText, true, "folder"},
                                    {"mask", "mask", OptionKind::kText, false, "mask"},
                                    {"recursive", "recursive", OptionKind::kFlag, false, "filter"},
                                    {"older", "older", OptionKind::kText, false, "filter"},
                                    {"newer", "newer", OptionKind::kText, false, "filter"},
                                    {"bigger", "bigger", OptionKind::kText, false, "filter"},
                                    {"smaller", "smaller", OptionKind::kText, false, "filter"},
                                    {"dirs", "dirs", OptionKind::kFlag, false, "filter"},
                                    kMacros};
constexpr Option kExistsOptions[] = {kPaths, kMacros};
constexpr Option kHashOptions[] = {{"path", "file", OptionKind::kText, true, "path"},
                                   {"algorithm", "alg"},
                                   {"expect", "expect", OptionKind::kText, true},
                                   {"limit", "limit"}};
constexpr Option kContainsOptions[] = {{"path", "file", OptionKind::kText, true, "path"},
                                       {"text", "text", OptionKind::kText, true, "text"},
                                       {"ignore_case", "ignore-case", OptionKind::kFlag},
                                       {"word", "word", OptionKind::kFlag},
                                       kMacros};
constexpr Option kTargets = {"targets", "host", OptionKind::kHostPorts, true, "target"};
constexpr Option kTcpOptions[] = {kTargets,
                                  {"send", "send"},
                                  {"escapes", "escapes", OptionKind::kFlag},
                                  {"receive", "receive"},
                                  {"limit", "limit"},
                                  {"expect", "expect"}};
constexpr Option kUdpOptions[] = {kTargets,
                                  {"send", "send", OptionKind::kText, true},
                                  {"escapes", "escapes", OptionKind::kFlag},
                                  {"attempts", "attempts"},
                                  {"receive", "receive"},
                                  {"limit", "limit"},
                                  {"expect", "expect"}};

constexpr Option kReadyOptions[] = {{"name", "name", OptionKind::kText, true, "script"},
                                    {"arguments", "words", OptionKind::kWords, false, "arguments"},
                                    {"warning", "warning"},
                                    {"critical", "critical"},
                                    {"from", "from"},
                                    {"state", "state"},
                                    {"limit", "limit"}};

bool Expected(const Answer& answer, const Value& result) {
  const std::string wanted = answer.arguments.Text("expect");
  const auto* data = result["received"].As<std::string>();
  return wanted.empty() || (data != nullptr && data->find(wanted) != std::string::npos);
}

}  // namespace

// What a kind makes of an answer; the text says why it is none.
using Writer = std::string (*)(const Step& step, const Answer& answer, const Value& result,
                               Page* page);

struct CheckKind {
  const char* name;
  const Command& command;
  std::span<const Option> options;
  Writer write;
  // The figure that is 0 when the agent says that there is nothing of the kind.
  std::optional<Metric> absent = std::nullopt;
};

namespace {

std::string WriteDisk(const Step& step, const Answer&, const Value& result, Page* page) {
  page->Set(Metric::kDiskSize, step.labels, result["total_bytes"].AsNumber());
  page->Set(Metric::kDiskFree, step.labels, result["free_bytes"].AsNumber());
  page->Set(Metric::kDiskAvail, step.labels, result["available_bytes"].AsNumber());
  return "";
}

std::string WriteCpu(const Step& step, const Answer&, const Value& result, Page* page) {
  page->Set(Metric::kCpuUsage, step.labels, result["usage_percent"].AsNumber() / 100);
  return "";
}

std::string WriteProcesses(const Step& step, const Answer&, const Value& result, Page* page) {
  page->Set(Metric::kProcesses, step.labels, result["count"].AsNumber());
  return "";
}

std::string WriteDu(const Step& step, const Answer&, const Value& result, Page* page) {
  page->Set(Metric::kFolderSize, step.labels, result["size_bytes"].AsNumber());
  return "";
}

std::string WriteCount(const Step& step, const Answer&, const Value& result, Page* page) {
  page->Set(Metric::kFiles, step.labels, result["count"].AsNumber());
  return "";
}

std::string WriteExists(const Step& step, const Answer&, const Value& result, Page* page) {
  const double age = result["age_min"].AsNumber();
  page->Set(Metric::kFileExists, step.labels, 1);
  page->Set(Metric::kFileSize, step.labels, result["size_bytes"].AsNumber());
  page->Set(Metric::kFileAge, step.labels, age * 60);
  page->Set(Metric::kFileMtime, step.labels,
            ModifiedAt(*result["modified"].As<std::string>(), age, time(nullptr)));
  return "";
}

std::string WriteHash(const Step& step, const Answer& answer, const Value& result, Page* page) {
  const auto* hash = result["hash"].As<std::string>();
  if (hash == nullptr) return "the file is above the limit";
  const bool match = EqualsIgnoringCase(*hash, answer.arguments.Text("expect"));
  page->Set(Metric::kFileHashMatch, step.labels, match ? 1 : 0);
  return "";
}

std::string WriteContains(const Step& step, const Answer&, const Value& result, Page* page) {
  page->Set(Metric::kFileContains, step.labels, *result["found"].As<bool>() ? 1 : 0);
  return "";
}

std::string WriteTcp(const Step& step, const Answer& answer, const Value& result, Page* page) {
  page->Set(Metric::kTcpUp, step.labels, Expected(answer, result) ? 1 : 0);
  page->Set(Metric::kTcpDuration, step.labels, result["time_ms"].AsNumber() / 1000);
  return "";
}

std::string WriteUdp(const Step& step, const Answer& answer, const Value& result, Page* page) {
  page->Set(Metric::kUdpUp, step.labels, Expected(answer, result) ? 1 : 0);
  page->Set(Metric::kUdpDuration, step.labels, result["time_ms"].AsNumber() / 1000);
  return "";
}

// In base units, as Prometheus wants them.
std::string WriteReady(const Step& step, const Answer& answer, const Value& result, Page* page) {
  const client::Verdict verdict = step.kind->command.check(answer, result, step.thresholds);
  page->Set(Metric::kScriptStatus, step.labels, static_cast<double>(verdict.state));
  for (const client::Metric& figure : verdict.metrics) {
    Labels labels = step.labels;
    labels.emplace_back("figure", figure.label);
    const bool is_share = figure.unit == "%";
    const Metric metric = figure.unit == "B"   ? Metric::kScriptBytes
                          : figure.unit == "s" ? Metric::kScriptSeconds
                          : is_share           ? Metric::kScriptRatio
                                               : Metric::kScriptValue;
    page->Set(metric, std::move(labels), is_share ? figure.value / 100 : figure.value);
  }
  return "";
}

}  // namespace

namespace {

const std::vector<CheckKind>& Kinds() {
  using client::NamedCommand;
  static const std::vector<CheckKind> kKinds = {
      {"disk", NamedCommand("disk"), kDiskOptions, WriteDisk},
      {"cpu", NamedCommand("cpu"), {}, WriteCpu},
      {"processes", NamedCommand("proc"), kProcessesOptions, WriteProcesses},
      {"du", NamedCommand("du"), kDuOptions, WriteDu},
      {"count", NamedCommand("count"), kCountOptions, WriteCount},
      {"exists", NamedCommand("exists"), kExistsOptions, WriteExists, Metric::kFileExists},
      {"hash", NamedCommand("hash"), kHashOptions, WriteHash, Metric::kFileHashMatch},
      {"contains", NamedCommand("grep"), kContainsOptions, WriteContains},
      {"tcp", NamedCommand("tcp"), kTcpOptions, WriteTcp, Metric::kTcpUp},
      {"udp", NamedCommand("udp"), kUdpOptions, WriteUdp, Metric::kUdpUp},
      {"check", NamedCommand("check"), kReadyOptions, WriteReady},
  };
  return kKinds;
}

const Command& InfoCommand() {
  static const Command& info = client::NamedCommand("info");
  return info;
}

const Option* FindOption(const CheckKind& kind, const std::string& key) {
  for (const Option& option : kind.options) {
    if (key == option.key) return &option;
  }
  return nullptr;
}

void AddLabel(const Option& option, const std::string& text, Step* step) {
  if (option.label == nullptr) return;
  const bool is_filter = strcmp(option.label, "filter") == 0;
  const std::string value = is_filter ? option.key + ("=" + text) : text;
  for (auto& [name, present] : step->labels) {
    if (name == option.label) {
      present += ',' + value;
      return;
    }
  }
  step->labels.emplace_back(option.label, value);
}

void SetHostPort(const std::string& text, Step* step) {
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0)
    throw std::invalid_argument("targets are HOST:PORT");
  step->arguments.Set("host", {text.substr(0, colon)});
  step->arguments.Set("port", {text.substr(colon + 1)});
}

void SetOption(const Option& option, const std::string& text, Step* step) {
  if (option.kind == OptionKind::kHostPorts) {
    SetHostPort(text, step);
  } else {
    step->arguments.Set(option.argument, {text});
  }
  AddLabel(option, text, step);
}

Milliseconds LimitOf(const YAML::Node& node) {
  client::Arguments arguments;
  arguments.Set("timeout", {TextOf(node, "timeout")});
  const int64_t limit = arguments.Millis("timeout", 0);
  if (limit <= 0) Refuse(node, "timeout has to be above 0");
  return Milliseconds(limit);
}

// What one entry gives for all of its steps, and what gives one step each.
struct Entry {
  Step common;
  std::string name;
  const Option* each = nullptr;
  std::vector<std::string> subjects;
  std::vector<std::string> seen;
};

void ReadField(const CheckKind& kind, const std::string& key, const YAML::Node& key_node,
               const YAML::Node& value, Entry* entry) {
  const Option* option = FindOption(kind, key);
  entry->seen.push_back(key);
  if (key == "timeout") {
    entry->common.limit = LimitOf(value);
  } else if (key == "name" && option == nullptr) {
    entry->name = TextOf(value, key);
  } else if (option == nullptr) {
    Refuse(key_node, "\"" + key + "\" is no key of the check " + kind.name);
  } else if (option->kind == OptionKind::kFlag) {
    if (FlagOf(value, key)) SetOption(*option, "true", &entry->common);
  } else if (option->kind == OptionKind::kWords) {
    const std::vector<std::string> words = TextsOf(value, key);
    std::string joined;
    for (const std::string& word : words) joined += (joined.empty() ? "" : " ") + word;
    SetOption(*option, joined, &entry->common);
    entry->common.arguments.Set(option->argument, words);
  } else if (option->kind == OptionKind::kText) {
    SetOption(*option, TextOf(value, key), &entry->common);
  } else {
    entry->each = option;
    entry->subjects = TextsOf(value, key);
  }
}

std::string LabelOf(const CheckKind& kind, const Entry& entry, const Step& step) {
  std::string label = entry.name.empty() ? kind.name : entry.name;
  // A name is enough where there is one step; several share it.
  if (!entry.name.empty() && entry.subjects.size() < 2) return label;
  for (const auto& [name, text] : step.labels) label += ' ' + text;
  return label;
}

void FinishStep(const CheckKind& kind, const Entry& entry, const std::string* subject,
                std::vector<Step>* steps) {
  Step step = entry.common;
  if (subject != nullptr) SetOption(*entry.each, *subject, &step);
  if (kind.write == WriteCount && !step.arguments.Has("mask")) {
    step.labels.emplace_back("mask", "*");
  }
  step.kind = &kind;
  client::Plan plan = kind.command.build(step.arguments);
  // Nothing is kept of a host where nobody said where.
  if (!step.arguments.Has("state")) plan.kept_in.clear();
  step.plan = std::make_shared<const client::Plan>(std::move(plan));
  if (kind.command.thresholds != nullptr) {
    step.thresholds = kind.command.thresholds(step.arguments, step.arguments.Text("warning"),
                                              step.arguments.Text("critical"));
  }
  step.label = LabelOf(kind, entry, step);
  steps->push_back(std::move(step));
}

}  // namespace

void ReadCheck(const YAML::Node& node, std::vector<Step>* steps) {
  if (!node.IsMap() || node.size() != 1) {
    Refuse(node, "a check has to be one kind with its arguments, like \"disk: {paths: [/]}\"");
  }
  const YAML::Node name = node.begin()->first;
  const std::string wanted = TextOf(name, "the kind of a check");
  const auto kind = std::find_if(Kinds().begin(), Kinds().end(),
                                 [&](const CheckKind& row) { return wanted == row.name; });
  if (kind == Kinds().end()) Refuse(name, "\"" + wanted + "\" is no kind of check");
  Entry entry;
  try {
    EachKey(node.begin()->second, wanted,
            [&](const std::string& key, const YAML::Node& key_node, const YAML::Node& value) {
              ReadField(*kind, key, key_node, value, &entry);
            });
    for (const Option& option : kind->options) {
      const auto& seen = entry.seen;
      if (!option.required || std::find(seen.begin(), seen.end(), option.key) != seen.end())
        continue;
      Refuse(name, "the check " + wanted + " needs \"" + option.key + "\"");
    }
    if (entry.each == nullptr) FinishStep(*kind, entry, nullptr, steps);
    for (const std::string& subject : entry.subjects) FinishStep(*kind, entry, &subject, steps);
  } catch (const std::invalid_argument& error) {
    Refuse(name, wanted + ": " + error.what());
  }
}

const std::string& InfoRequest() {
  static const std::string kRequest = InfoCommand().build(client::Arguments()).text;
  return kRequest;
}

namespace {

std::string Refusal(const Command& command, const Reply& reply) {
  std::string text = reply.Message();
  if (reply.status == client::kStatusNotAllowed && *command.switch_keys != '\0') {
    text += std::string(" (switch on in the agent's configuration: ") + command.switch_keys + ")";
  }
  if (reply.status) text = std::to_string(*reply.status) + ' ' + text;
  return text.empty() ? "an empty reply" : text;
}

}  // namespace

client::Exchange AskStep(const Step& step, const client::Endpoint& endpoint,
                         std::string_view password, const client::Deadline& deadline) {
  const auto ask = step.kind->command.ask;
  try {
    return ask == nullptr ? client::Ask(endpoint, step.plan->text, password, deadline)
                          : ask(endpoint, *step.plan, password, deadline);
  } catch (const std::exception& error) {
    client::Exchange exchange;
    exchange.connected = std::chrono::microseconds(1);  // the agent is there
    exchange.failure = {client::FailureKind::kLocal, error.what(), ""};
    return exchange;
  }
}

std::string RecordAnswer(const Step& step, const client::Exchange& exchange, Page* page) {
  const CheckKind& kind = *step.kind;
  const Reply reply = client::ParseReply(exchange.reply);
  const Answer answer = {reply, step.arguments, exchange};
  if (kind.absent && reply.status == client::kStatusUnavailable &&
      reply.Line(1) != client::kHashReadError) {
    page->Set(*kind.absent, step.labels, 0);
    return "";
  }
  if (!reply.IsDone()) return Refusal(kind.command, reply);
  try {
    return kind.write(step, answer, kind.command.parse(answer), page);
  } catch (const std::exception& error) {
    return error.what();
  }
}

std::string RecordInfo(const client::Exchange& exchange, Page* page) {
  const Reply reply = client::ParseReply(exchange.reply);
  if (!reply.IsDone()) return Refusal(InfoCommand(), reply);
  try {
    const Value info = client::ParseInfo({reply, client::Arguments(), exchange});
    Labels labels;
    for (const auto& [label, key] :
         {std::pair("version", "version"), {"platform", "platform"}, {"host", "host_name"}}) {
      const auto* text = info[key].As<std::string>();
      labels.emplace_back(label, text != nullptr ? *text : "");
    }
    page->Set(Metric::kAgentInfo, std::move(labels), 1);
    const Value& connections = info["connections"];
    page->Set(Metric::kConnectionsActive, {}, connections["active"].AsNumber());
    page->Set(Metric::kConnectionsOpened, {}, connections["opened"].AsNumber());
    page->Set(Metric::kConnectionsRejected, {}, connections["rejected"].AsNumber());
    return "";
  } catch (const std::exception& error) {
    return error.what();
  }
}

double ModifiedAt(const std::string& local_time, double age_minutes, time_t now) {
  constexpr double kZoneStep = 15 * 60;  // zones differ by whole quarters of an hour
  tm broken = {};
  if (strptime(local_time.c_str(), "%Y-%m-%dT%H:%M:%S", &broken) == nullptr) {
    return static_cast<double>(now) - age_minutes * 60;
  }
  const auto local = static_cast<double>(timegm(&broken));
  const double rough = static_cast<double>(now) - age_minutes * 60;
  return local - std::round((local - rough) / kZoneStep) * kZoneStep;
}

}  // namespace zem::exporter
