// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/format.h>

#include "commands/forms.h"
#include "commands/table.h"
#include "model/printable.h"
#include "model/words.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr int kLargestPort = 65535;
// The agent's receive buffer.
constexpr int64_t kLargestReceive = 8192;
constexpr int64_t kDefaultLimitMillis = 5000;
constexpr int64_t kMostSeconds = 86400;

constexpr const char* kEscapesHelp = "\\r, \\n, \\t, \\\\, \\xHH in TEXT mean those bytes";

int64_t Port(const Arguments& arguments, int64_t otherwise = 0) {
  return arguments.Int("port", otherwise, 1, kLargestPort);
}

// --- tcp and udp

constexpr Argument kTcpArguments[] = {
    {"host", "target,--target", kRequired, "TARGET", "whom the agent connects to"},
    {"port", "target-port,--target-port", kRequired, "PORT", "its TCP port"},
    {"send", "--send", kOption, "TEXT", "send this first"},
    {"escapes", "-e,--escapes", kFlag, "", kEscapesHelp},
    {"receive", "--receive", kOption, "BYTES", "wait for an answer, take at most BYTES (8192)"},
    {"limit", "--limit", kOption, "SEC", "the agent's patience, for each wait (5)"},
    {"expect", "--expect", kOption, "TEXT",
     "wait for an answer; check: CRITICAL unless it holds TEXT"},
};

int64_t ReceiveSize(const Arguments& arguments) {
  const int64_t otherwise = arguments.Has("expect") ? kLargestReceive : 0;
  return arguments.Int("receive", otherwise, 0, kLargestReceive);
}

Plan BuildTcp(const Arguments& arguments) {
  const int64_t limit = arguments.Millis("limit", kDefaultLimitMillis);
  // To the agent 0 means two minutes.
  if (limit == 0) throw std::invalid_argument("--limit has to be above 0");
  const int64_t receive = ReceiveSize(arguments);
  Plan plan = PlanFor("TEST-TCP host:TARGET % % send~:--send %", arguments,
                      {Port(arguments), limit, receive});
  // One wait for the connection, one for the answer.
  plan.agent_time = Milliseconds(receive > 0 ? 2 * limit : limit);
  return plan;
}

constexpr Argument kUdpArguments[] = {
    {"host", "target,--target", kRequired, "TARGET", "whom the agent sends to"},
    {"port", "target-port,--target-port", kRequired, "PORT", "its UDP port"},
    {"send", "text,--send", kRequired, "TEXT", "the datagram"},
    {"escapes", "-e,--escapes", kFlag, "", kEscapesHelp},
    {"attempts", "--attempts", kOption, "N", "send up to N times (3)"},
    {"receive", "--receive", kOption, "BYTES",
     "take at most BYTES of the answer (8192); 0 does not wait"},
    {"limit", "--limit", kOption, "SEC", "whole seconds to wait, each time (2)"},
    {"expect", "--expect", kOption, "TEXT", "check: CRITICAL unless the answer holds TEXT"},
};

Plan BuildUdp(const Arguments& arguments) {
  constexpr int64_t kMostAttempts = 100;
  if (arguments.Text("send").empty()) throw std::invalid_argument("TEXT is empty");
  const int64_t millis = 1000 * arguments.Int("limit", 2, 1, kMostSeconds);
  const int64_t attempts = arguments.Int("attempts", 3, 1, kMostAttempts);
  Plan plan = PlanFor("TEST-UDP host:TARGET % % % send~:TEXT %", arguments,
                      {Port(arguments), millis, attempts,
                       arguments.Int("receive", kLargestReceive, 0, kLargestReceive)});
  plan.agent_time = Milliseconds(millis * attempts);
  return plan;
}

Value ParseProbe(const Answer& answer) {
  const std::string data = UnescapedLine(answer.reply, 2);
  return Record{{"time_ms", MillisOf(answer.reply, 1)},
                {"received_bytes", Value::Bytes(static_cast<double>(data.size()))},
                {"received", Value::TextIfAny(data)}};
}

// The second line of a failure is the code of the step that failed, 0 and below.
std::string ExplainProbe(const Reply& reply) {
  static constexpr const char* kSteps[] = {"no answer in time, or closed without a byte",
                                           "",
                                           "the agent's host cannot resolve the name",
                                           "the agent could not make a socket",
                                           "the agent could not send",
                                           "the agent could not receive",
                                           "refused or unreachable"};
  const int64_t code = ParseWhole(reply.Line(2)).value_or(1);
  return code <= 0 && code > -std::ssize(kSteps) ? kSteps[-code] : "";
}

std::string SummariseProbe(const Answer& answer, const Value& result) {
  constexpr size_t kShown = 60;
  std::string text = fmt::format("{}:{} answers in {:.0f} ms", answer.arguments.Text("host"),
                                 answer.arguments.Text("port"), result["time_ms"].AsNumber());
  if (const std::string* data = result["received"].As<std::string>()) {
    text += ": " + Printable(std::string_view(*data).substr(0, kShown));
  }
  return text;
}

Verdict CheckProbe(const Answer& answer, const Value& result, const Thresholds& thresholds) {
  Verdict verdict = Judge<"time", "time_ms">(answer, result, thresholds);
  if (answer.arguments.Has("expect")) {
    const std::string* data = result["received"].As<std::string>();
    if (data == nullptr || data->find(answer.arguments.Text("expect")) == std::string::npos) {
      verdict.state = State::kCritical;
      verdict.text = SummariseProbe(answer, result) + " (not what was expected)";
    }
  }
  return verdict;
}

// --- syslog

constexpr std::string_view kFacilities[] = {
    "kern",   "user",   "mail",     "daemon", "auth",   "syslog", "lpr",    "news",
    "uucp",   "cron",   "authpriv", "ftp",    "ntp",    "audit",  "alert",  "clock",
    "local0", "local1", "local2",   "local3", "local4", "local5", "local6", "local7"};

constexpr std::string_view kSeverities[] = {"emerg",   "alert",  "crit", "err",
                                            "warning", "notice", "info", "debug"};

constexpr Argument kSyslogArguments[] = {
    {"host", "server,--server", kRequired, "SERVER", "the syslog server"},
    {"message", "message,--message", kRequired, "MESSAGE", "what to log"},
    {"port", "--server-port", kOption, "PORT", "its UDP port (514)"},
    {"facility", "--facility", kOption, "NAME", "facility, name or number (user)", kFacilities},
    {"severity", "--severity", kOption, "NAME", "severity, name or 0 to 7 (notice)", kSeverities},
};

int64_t NamedNumber(const Arguments& arguments, const char* name,
                    std::span<const std::string_view> names, std::string_view otherwise,
                    int64_t most) {
  const std::string text = arguments.Text(name, otherwise);
  for (size_t i = 0; i < names.size(); ++i) {
    if (EqualsIgnoringCase(text, names[i])) return static_cast<int64_t>(i);
  }
  const int64_t number = ParseWhole(text).value_or(-1);
  if (number < 0 || number > most) {
    throw std::invalid_argument(
        fmt::format("{0}: \"{1}\" is no name of a {0} and no number from 0 to {2}{3}", name, text,
                    most, DidYouMean(text, {names.begin(), names.end()})));
  }
  return number;
}

Plan BuildSyslog(const Arguments& arguments) {
  constexpr int64_t kMostFacility = 1 << 20;
  return PlanFor(
      "ACT-Syslog host:SERVER % % % message~:MESSAGE", arguments,
      {Port(arguments, 514), NamedNumber(arguments, "facility", kFacilities, "user", kMostFacility),
       NamedNumber(arguments, "severity", kSeverities, "notice", 7)});
}

// --- send

constexpr Argument kSendArguments[] = {
    {"host", "target,--target", kRequired, "TARGET", "whom the agent sends to"},
    {"port", "target-port,--target-port", kRequired, "PORT", "its port"},
    {"text", "text,--text", kRequired, "TEXT", "what to send"},
    {"second", "second,--second", kOptional, "TEXT2", "what to send after it"},
    {"udp", "--udp", kFlag, "", "UDP instead of TCP"},
    {"pause", "--pause", kOption, "SEC", "whole seconds between the two (0)"},
    {"escapes", "-e,--escapes", kFlag, "", kEscapesHelp},
};

Plan BuildSend(const Arguments& arguments) {
  constexpr Milliseconds kBlockingConnect{10'000};
  const int64_t pause = arguments.Int("pause", 0, 0, kMostSeconds);
  Plan plan = PlanFor("ACT-TCPUDPsend host:TARGET % udp? text~:TEXT % second~:TEXT2", arguments,
                      {Port(arguments), pause});
  plan.agent_time = Milliseconds(pause * 1000) + kBlockingConnect;
  return plan;
}

constexpr Command kProbeRows[] = {
    {
        .name = "tcp",
        .summary = "whether a TCP service answers the agent's host",
        .switch_keys = "tcp=1",
        .arguments = kTcpArguments,
        .subject = "{host}:{port}",
        .build = BuildTcp,
        .parse = ParseProbe,
        .summarise = SummariseProbe,
        .check = CheckProbe,
        .range = SecondsRange,
        .unavailable = State::kCritical,
        .explain = ExplainProbe,
        .notes = "As a check: -w and -c apply to the time in seconds (units ms, s).",
    },
    {
        .name = "udp",
        .summary = "whether a UDP service answers the agent's host",
        .switch_keys = "udp=1",
        .arguments = kUdpArguments,
        .subject = "{host}:{port}",
        .build = BuildUdp,
        .parse = ParseProbe,
        .summarise = SummariseProbe,
        .check = CheckProbe,
        .range = SecondsRange,
        .unavailable = State::kCritical,
        .explain = ExplainProbe,
        .notes = "As a check: -w and -c apply to the time in seconds (units ms, s).",
    },
};

constexpr Command kMessageRows[] = {
    {
        .name = "syslog",
        .summary = "let the agent send a syslog message",
        .switch_keys = "syslogaction=1",
        .arguments = kSyslogArguments,
        .build = BuildSyslog,
        .notes = "The agent says \"has been sent\" even where the server's name does not resolve.",
    },
    {
        .name = "send",
        .summary = "let the agent send one or two texts to a port",
        .switch_keys = "tcpudpaction=1",
        .arguments = kSendArguments,
        .build = BuildSend,
        .notes = "Whether the second text arrived is not reported by the agent.",
    },
};

}  // namespace

const std::span<const Command> kProbeCommands = kProbeRows;
const std::span<const Command> kMessageCommands = kMessageRows;

}  // namespace zem::client
