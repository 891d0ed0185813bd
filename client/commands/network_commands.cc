// SPDX-License-Identifier: BSD-2-Clause
#include <cmath>

#include <fmt/format.h>

#include "commands/escapes.h"
#include "commands/fields.h"
#include "commands/table.h"
#include "model/printable.h"
#include "text/ovstring.h"
#include "wire/request_text.h"

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

std::string Text(const Arguments& arguments, const char* name) {
  const std::string text = arguments.Text(name);
  return arguments.Has("escapes") ? DecodeEscapes(text) : text;
}

// --- tcp and udp

constexpr Argument kTcpArguments[] = {
    {"host", "target,--target", ArgumentKind::kRequired, "TARGET", "whom the agent connects to"},
    {"port", "target-port,--target-port", ArgumentKind::kRequired, "PORT", "its TCP port"},
    {"send", "--send", ArgumentKind::kOption, "TEXT", "send this first"},
    {"escapes", "-e,--escapes", ArgumentKind::kFlag, "", kEscapesHelp},
    {"receive", "--receive", ArgumentKind::kOption, "BYTES",
     "wait for an answer, take at most BYTES (8192)"},
    {"limit", "--limit", ArgumentKind::kOption, "SEC", "the agent's patience, for each wait (5)"},
    {"expect", "--expect", ArgumentKind::kOption, "TEXT",
     "wait for an answer; check: CRITICAL unless it holds TEXT"},
};

int64_t ReceiveSize(const Arguments& arguments) {
  const int64_t otherwise = arguments.Has("expect") ? kLargestReceive : 0;
  return arguments.Int("receive", otherwise, 0, kLargestReceive);
}

Plan BuildTcp(const Arguments& arguments) {
  Plan plan;
  const std::string data = Text(arguments, "send");
  const int64_t limit = arguments.Millis("limit", kDefaultLimitMillis);
  // To the agent 0 means two minutes.
  if (limit == 0) throw std::invalid_argument("--limit has to be above 0");
  WarnOfEscapes(data, "--send", &plan.warnings);
  RequestText request("TEST-TCP");
  request.TrimmedLine(arguments.Text("host"), "TARGET")
      .Number(Port(arguments))
      .Number(limit)
      .EscapedLine(data)
      .Number(ReceiveSize(arguments));
  plan.text = request.Finish();
  // One wait for the connection, one for the answer.
  plan.agent_time = Milliseconds(ReceiveSize(arguments) > 0 ? 2 * limit : limit);
  return plan;
}

constexpr Argument kUdpArguments[] = {
    {"host", "target,--target", ArgumentKind::kRequired, "TARGET", "whom the agent sends to"},
    {"port", "target-port,--target-port", ArgumentKind::kRequired, "PORT", "its UDP port"},
    {"send", "text,--send", ArgumentKind::kRequired, "TEXT", "the datagram"},
    {"escapes", "-e,--escapes", ArgumentKind::kFlag, "", kEscapesHelp},
    {"attempts", "--attempts", ArgumentKind::kOption, "N", "send up to N times (3)"},
    {"receive", "--receive", ArgumentKind::kOption, "BYTES",
     "take at most BYTES of the answer (8192); 0 does not wait"},
    {"limit", "--limit", ArgumentKind::kOption, "SEC", "whole seconds to wait, each time (2)"},
    {"expect", "--expect", ArgumentKind::kOption, "TEXT",
     "check: CRITICAL unless the answer holds TEXT"},
};

Plan BuildUdp(const Arguments& arguments) {
  constexpr int64_t kMostAttempts = 100;
  Plan plan;
  const std::string data = Text(arguments, "send");
  if (data.empty()) throw std::invalid_argument("TEXT is empty; a datagram needs something in it");
  const int64_t seconds = arguments.Int("limit", 2, 1, kMostSeconds);
  const int64_t attempts = arguments.Int("attempts", 3, 1, kMostAttempts);
  WarnOfEscapes(data, "TEXT", &plan.warnings);
  RequestText request("TEST-UDP");
  request.TrimmedLine(arguments.Text("host"), "TARGET")
      .Number(Port(arguments))
      .Number(seconds * 1000)
      .Number(attempts)
      .EscapedLine(data)
      .Number(arguments.Int("receive", kLargestReceive, 0, kLargestReceive));
  plan.text = request.Finish();
  plan.agent_time = Milliseconds(seconds * attempts * 1000);
  return plan;
}

Value ParseProbe(const Answer& answer) {
  const std::string data = UnescapedLine(answer.reply, 2);
  return Value::Of(Record{{"time_ms", Value::Millis(static_cast<double>(IntLine(answer.reply, 1)))},
                          {"received_bytes", Value::Bytes(static_cast<double>(data.size()))},
                          {"received", data.empty() ? Value() : Value::Text(data)}});
}

// The second line of a failure is the code of the step that failed.
std::string ExplainProbe(const Reply& reply) {
  switch (ParseWhole(reply.Line(2)).value_or(1)) {
    case 0:
      return "no answer in time, or closed without a byte";
    case -2:
      return "the agent's host cannot resolve the name";
    case -3:
      return "the agent could not make a socket";
    case -4:
      return "the agent could not send";
    case -5:
      return "the agent could not receive";
    case -6:
      return "the agent could not connect";
    default:
      return "";
  }
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
  const double seconds = result["time_ms"].AsNumber() / 1000;
  Verdict verdict = {thresholds.Judge(seconds),
                     SummariseProbe(answer, result),
                     {{"time", seconds, "s", thresholds, 0, {}}}};
  if (answer.arguments.Has("expect")) {
    const std::string* data = result["received"].As<std::string>();
    if (data == nullptr || data->find(answer.arguments.Text("expect")) == std::string::npos) {
      verdict.state = State::kCritical;
      verdict.text += " (not what was expected)";
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
    {"host", "server,--server", ArgumentKind::kRequired, "SERVER", "the syslog server"},
    {"message", "message,--message", ArgumentKind::kRequired, "MESSAGE", "what to log"},
    {"port", "--server-port", ArgumentKind::kOption, "PORT", "its UDP port (514)"},
    {"facility", "--facility", ArgumentKind::kOption, "NAME", "facility, name or number (user)",
     kFacilities},
    {"severity", "--severity", ArgumentKind::kOption, "NAME", "severity, name or 0 to 7 (notice)",
     kSeverities},
};

int64_t NamedNumber(const Arguments& arguments, const char* name,
                    std::span<const std::string_view> names, std::string_view otherwise,
                    int64_t most) {
  const std::string text = arguments.Text(name, otherwise);
  for (size_t i = 0; i < names.size(); ++i) {
    if (EqualsIgnoringCase(text, names[i])) return static_cast<int64_t>(i);
  }
  return arguments.Int(name, 0, 0, most);
}

Plan BuildSyslog(const Arguments& arguments) {
  constexpr int64_t kMostFacility = 1 << 20;
  Plan plan;
  const std::string message = arguments.Text("message");
  WarnOfEscapes(message, "MESSAGE", &plan.warnings);
  RequestText request("ACT-Syslog");
  request.TrimmedLine(arguments.Text("host"), "SERVER")
      .Number(Port(arguments, 514))
      .Number(NamedNumber(arguments, "facility", kFacilities, "user", kMostFacility))
      .Number(NamedNumber(arguments, "severity", kSeverities, "notice", 7))
      .EscapedLine(message);
  plan.text = request.Finish();
  return plan;
}

// --- send

constexpr Argument kSendArguments[] = {
    {"host", "target,--target", ArgumentKind::kRequired, "TARGET", "whom the agent sends to"},
    {"port", "target-port,--target-port", ArgumentKind::kRequired, "PORT", "its port"},
    {"text", "text,--text", ArgumentKind::kRequired, "TEXT", "what to send"},
    {"second", "second,--second", ArgumentKind::kOptional, "TEXT2", "what to send after it"},
    {"udp", "--udp", ArgumentKind::kFlag, "", "UDP instead of TCP"},
    {"pause", "--pause", ArgumentKind::kOption, "SEC", "whole seconds between the two (0)"},
    {"escapes", "-e,--escapes", ArgumentKind::kFlag, "", kEscapesHelp},
};

Plan BuildSend(const Arguments& arguments) {
  constexpr Milliseconds kBlockingConnect{10'000};
  Plan plan;
  const std::string first = Text(arguments, "text");
  const std::string second = Text(arguments, "second");
  if (first.empty()) throw std::invalid_argument("TEXT is empty");
  const int64_t pause = arguments.Int("pause", 0, 0, kMostSeconds);
  WarnOfEscapes(first, "TEXT", &plan.warnings);
  WarnOfEscapes(second, "TEXT2", &plan.warnings);
  RequestText request("ACT-TCPUDPsend");
  request.TrimmedLine(arguments.Text("host"), "TARGET")
      .Number(Port(arguments))
      .Flag(arguments.Has("udp"))
      .EscapedLine(first)
      .Number(pause)
      .EscapedLine(second);
  plan.text = request.Finish();
  plan.agent_time = Milliseconds(pause * 1000) + kBlockingConnect;
  return plan;
}

Value ParseMessage(const Answer& answer) {
  return Value::Of(Record{{"message", Value::Text(answer.reply.Line(1))}});
}

std::string SummariseMessage(const Answer& answer, const Value& /*result*/) {
  return answer.reply.Message();
}

}  // namespace

const Command kTcpCommand = {
    .name = "tcp",
    .summary = "whether a TCP service answers the agent's host",
    .switch_keys = "tcp=1",
    .arguments = kTcpArguments,
    .build = BuildTcp,
    .parse = ParseProbe,
    .summarise = SummariseProbe,
    .check = CheckProbe,
    .range = SecondsRange,
    .unavailable = State::kCritical,
    .explain = ExplainProbe,
    .notes = "As a check: -w and -c apply to the time in seconds (units ms, s).",
};

const Command kUdpCommand = {
    .name = "udp",
    .summary = "whether a UDP service answers the agent's host",
    .switch_keys = "udp=1",
    .arguments = kUdpArguments,
    .build = BuildUdp,
    .parse = ParseProbe,
    .summarise = SummariseProbe,
    .check = CheckProbe,
    .range = SecondsRange,
    .unavailable = State::kCritical,
    .explain = ExplainProbe,
    .notes = "As a check: -w and -c apply to the time in seconds (units ms, s).",
};

const Command kSyslogCommand = {
    .name = "syslog",
    .summary = "let the agent send a syslog message",
    .switch_keys = "syslogaction=1",
    .arguments = kSyslogArguments,
    .build = BuildSyslog,
    .parse = ParseMessage,
    .summarise = SummariseMessage,
    .notes = "The agent says \"has been sent\" even where the server's name does not resolve.",
};

const Command kSendCommand = {
    .name = "send",
    .summary = "let the agent send one or two texts to a port",
    .switch_keys = "tcpudpaction=1",
    .arguments = kSendArguments,
    .build = BuildSend,
    .parse = ParseMessage,
    .summarise = SummariseMessage,
    .notes = "Whether the second text arrived is not reported by the agent.",
};

}  // namespace zem::client
