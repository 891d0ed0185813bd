// SPDX-License-Identifier: BSD-2-Clause
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "checks/system/process_check.h"
#include "commands/table.h"
#include "core/config_file.h"
#include "local/local_command.h"
#include "model/printable.h"
#include "output/terminal.h"
#include "output/units.h"
#include "wire/reply_text.h"

namespace zem::client {

namespace {

constexpr Argument kArguments[] = {
    {"file", "file,--file", kOptional, "FILE",
     "the agent's configuration, if not in --agent-config", kLocalFile},
    {"name", "--name", kOption, "NAME", "count this process (the first one listed)"},
};

// No process has it.
constexpr const char* kAbsentName = "zem-no-such-process";

bool IsPlain(std::string_view name) {
  const auto plain = [](char byte) {
    return isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '-' || byte == '_' ||
           byte == '.';
  };
  return !name.empty() && std::all_of(name.begin(), name.end(), plain);
}

using Handler = void (*)(const AgentRequest& request, const RequestContext& context,
                         AgentReply* reply);

struct Trial {
  std::string script;  // key
  std::string input;   // the process name, where there is one
  Reply reply;
  double millis = 0;
  Value result;
  std::string verdict;
  bool good = false;
};

class Tester {
 public:
  explicit Tester(const Settings& settings) : settings_(settings) {}

  std::vector<Trial> RunAll(const std::string& wanted_name) {
    const std::string listed = TryList();
    const std::string name = wanted_name.empty() ? listed : wanted_name;
    if (!name.empty()) TryCount(name, wanted_name.empty());
    TryAbsent();
    TryCpu();
    return std::move(trials_);
  }

 private:
  // The agent's own handler, with the switch taken for on.
  Trial& Try(const char* key, Handler handler, const std::string& input, const char* name) {
    const Command& command = NamedCommand(name);
    Trial& trial = trials_.emplace_back();
    trial.script = key;
    trial.input = input;
    const RequestContext context = {settings_, 0, {}, nullptr, nullptr, nullptr, nullptr, nullptr};
    AgentReply reply;
    const auto start = Clock::now();
    handler(AgentRequest("\n" + input + "\n"), context, &reply);
    const std::chrono::duration<double, std::milli> took = Clock::now() - start;
    trial.millis = took.count();
    trial.reply = ParseReply(reply.Text());
    if (!trial.reply.IsDone()) {
      trial.verdict = trial.reply.Message();
      return trial;
    }
    Arguments arguments;
    arguments.Set("name", {input});
    const Exchange exchange;
    const Answer answer = {trial.reply, arguments, exchange};
    try {
      trial.result = command.parse(answer);
      trial.verdict = command.summarise(answer, trial.result);
      trial.good = true;
    } catch (const BadReply& error) {
      trial.verdict = error.what();
    }
    return trial;
  }

  // Gives the name of a process that runs and that no shell would interpret; empty when there is
  // none.
  std::string TryList() {
    Trial& trial = Try("proclistscript", ListProcesses, "", "procs");
    const auto* list = trial.result["processes"].As<List>();
    if (list == nullptr) return "";
    if (*trial.result["last_line_doubled"].As<bool>()) {
      trial.verdict += "; the last one comes twice: print no line feed behind the last line";
    }
    for (const Value& name : *list) {
      if (IsPlain(*name.As<std::string>())) return *name.As<std::string>();
    }
    return "";
  }

  // An answer that cannot be true.
  static void Doubt(bool wrong, const char* why, Trial* trial) {
    if (!trial->good || !wrong) return;
    trial->good = false;
    trial->verdict += why;
  }

  void TryCount(const std::string& name, bool was_listed) {
    Trial& trial = Try("proccntscript", CheckProcess, name, "proc");
    Doubt(was_listed && trial.result["count"].AsNumber() < 1,
          ": not counted, although proclistscript lists it", &trial);
  }

  void TryAbsent() {
    Trial& trial = Try("proccntscript", CheckProcess, kAbsentName, "proc");
    Doubt(trial.result["count"].AsNumber() != 0, ": none runs; does the script count itself?",
          &trial);
  }

  void TryCpu() {
    Trial& trial = Try("cpuusagescript", CheckCpu, "", "cpu");
    const double usage = trial.result["usage_percent"].AsNumber();
    Doubt(usage < 0 || usage > 100, ": not between 0 and 100", &trial);
  }

  const Settings& settings_;
  std::vector<Trial> trials_;
};

std::string TrialsText(const std::vector<Trial>& trials, const Style& style) {
  std::string text;
  for (const Trial& trial : trials) {
    const std::string what =
        trial.input.empty() ? trial.script : fmt::format("{} {}", trial.script, trial.input);
    text += fmt::format("{}  {} ({}): {}\n",
                        trial.good ? style(Tone::kGood, "ok  ") : style(Tone::kBad, "FAIL"),
                        Printable(what), ReadableMillis(trial.millis), Printable(trial.verdict));
  }
  return text;
}

Value TrialsValue(const std::vector<Trial>& trials) {
  List list;
  for (const Trial& trial : trials) {
    list.push_back(Record{
        {"script", trial.script},
        {"input", Value::TextIfAny(trial.input)},
        {"status", trial.reply.status},
        {"ok", trial.good},
        {"elapsed_ms", Value::Millis(trial.millis)},
        {"text", trial.verdict},
    });
  }
  return list;
}

LocalResult Scripttest(const Arguments& arguments) {
  Settings settings;
  settings.config_path = ConfigPath(arguments);
  OvString error;
  // The temporary directory that this exports is the one the scripts' results go to.
  if (!LoadSettings(&settings, &error)) {
    // Its own texts are several lines, warnings among them.
    throw std::runtime_error(fmt::format("{0} does not load: zemctl configcheck {0} tells why",
                                         settings.config_path.View()));
  }
  const std::vector<Trial> trials = Tester(settings).RunAll(arguments.Text("name"));
  const bool good =
      std::all_of(trials.begin(), trials.end(), [](const Trial& trial) { return trial.good; });
  LocalResult result;
  result.exit_code = good ? 0 : 1;
  result.text = TrialsText(trials, Style::For(STDOUT_FILENO)) +
                "Run this as the agent's user: what a script may see depends on who runs it.\n";
  result.result = Record{{"ok", good}, {"trials", TrialsValue(trials)}};
  return result;
}

}  // namespace

const Command kScripttestCommand = {
    .name = "scripttest",
    .summary = "run the three administrator scripts as the agent would",
    .arguments = kArguments,
    .run = Scripttest,
    .notes = "Exits with 1 when the agent would fail or answer nonsense.",
};

}  // namespace zem::client
