// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/dispatcher.h"

#include "dispatch/command_table.h"
#include "protocol/agent_request.h"
#include "text/ovstring.h"

namespace zem {

namespace {

constexpr char kEndMark = '\r';
// What an entry of at most 511 bytes has room for beside its date, the longest address, its own
// words and its line end.
constexpr size_t kMostLoggedBytes = 452;

// The command as it may stand in a log and on a terminal.
OvString Printable(std::string_view command) {
  OvString text(command.substr(0, kMostLoggedBytes));
  char* bytes = text.Resize(text.Length());
  for (size_t i = 0; i < text.Length(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (byte < 0x20 || (byte >= 0x7F && byte < 0xA0)) bytes[i] = '?';
  }
  return text;
}

}  // namespace

// The refusals below answer with the bare status: servers know these four by their code alone.
bool DispatchRequest(std::string_view request_text, const RequestContext& context,
                     AgentReply* reply) {
  if (request_text.find(kEndMark) == std::string_view::npos) {
    context.log->WriteLog("EndOfTransmission signal missed\n", context.peer, LogKind::kFailure);
    reply->SetStatus(status::kNoEndMark);
    return false;
  }
  const size_t line_feed = request_text.find('\n');
  const OvString command(Trimmed(request_text.substr(0, line_feed)));
  if (command.IsEmpty()) {
    context.log->WriteLog("Void request received\n", context.peer, LogKind::kFailure);
    reply->SetStatus(status::kUnknown);
    return false;
  }
  const CommandRow* row = FindCommand(command);
  if (row == nullptr) {
    context.log->WriteLogFormat(context.peer, LogKind::kFailure, "Unknown command \"%s\"\n",
                                Printable(command).CStr());
    reply->SetStatus(status::kUnknown);
    return false;
  }
  if (!row->gate.Admit(context, reply)) return true;
  const bool has_parameters = line_feed != std::string_view::npos;
  const AgentRequest request(has_parameters ? request_text.substr(line_feed + 1) : "");
  row->handler(request, context, reply);
  return true;
}

}  // namespace zem
