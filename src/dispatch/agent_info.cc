// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/agent_info.h"

#include <sys/utsname.h>

#include <span>

#include "core/identity.h"

namespace zem {

namespace {

struct CatalogueEntry {
  std::string_view name;
  bool Settings::*enabled;
};

constexpr CatalogueEntry kTests[] = {
    {"TCP", &Settings::tcp},
    {"UDP", &Settings::udp},
    {"UNC", &Settings::unc},
    {"Folder Size", &Settings::folder_size},
    {"Count Files", &Settings::count_files},
    {"File Availability", &Settings::file_exists},
    {"File Integrity", &Settings::file_crc},
    {"File Compare", &Settings::compare_files},
    {"Text Log", &Settings::text_log},
    {"Process", &Settings::process},
    {"CPU Usage", &Settings::cpu_usage},
    {"External", &Settings::external},
    {"Shell Script", &Settings::shell_script},
};

constexpr CatalogueEntry kActions[] = {
    {"Execute external command", &Settings::execute_action},
    {"TCP/UDP send", &Settings::tcp_udp_action},
    {"Syslog", &Settings::syslog_action},
};

// The names, each followed by CR LF (the last one too), in one escaped line; then a digit for each
// in the same order.
void AddCatalogue(std::span<const CatalogueEntry> entries, std::string_view available_key,
                  std::string_view enabled_key, const Settings& settings, AgentReply* reply) {
  reply->EnsureNewLine();
  reply->Append(available_key).Append("=");
  for (const CatalogueEntry& entry : entries) {
    reply->Append(entry.name).Append("\r\n", Escape::kYes);
  }
  reply->Append("\n").Append(enabled_key).Append("=");
  for (const CatalogueEntry& entry : entries) reply->Append(settings.*entry.enabled ? "1" : "0");
  reply->Append("\n");
}

void AddIdentity(AgentReply* reply) {
  reply->AddFormat("%s=%s", "AgentName", identity::kName);
  reply->AddFormat("%s=%s", "AgentPlatform", identity::kPlatform);
  reply->AddFormat("%s=%s", "AgentVersion", identity::kVersion);
  reply->AddFormat("%s=%s", "AgentDeveloper", identity::kDeveloper);
  // These two states exist on other platforms; here neither is ever on.
  reply->AddFormat("Service=%s", "0");
  reply->AddFormat("Active=%s", "0");
}

void AddCounters(const SessionCounters& counters, AgentReply* reply) {
  reply->AddFormat("ActiveConnections=%d", counters.active);
  reply->AddFormat("OpenedConnections=%d", counters.opened);
  reply->AddFormat("FailedConnections=%d", counters.rejected);
}

void AddHost(AgentReply* reply) {
  utsname host;
  if (uname(&host) < 0) return;
  reply->AddFormat("%s=%s", "HostName", host.nodename);
  reply->AddFormat("%s=%s %s %s", "RunningOS", host.sysname, host.release, host.version);
}

}  // namespace

void AddKeyLine(std::string_view key, std::string_view value, AgentReply* reply, Escape escape) {
  reply->EnsureNewLine();
  reply->Append(key).Append("=").Append(value, escape).Append("\n");
}

void GetInfo(const AgentRequest&, const RequestContext& context, AgentReply* reply) {
  const Settings& settings = context.settings;
  reply->SetStatus(status::kDone);
  AddIdentity(reply);
  AddCounters(context.control->Counters(), reply);
  AddCatalogue(kTests, "Available tests", "Enabled tests", settings, reply);
  reply->AddFormat("%s=%d", "Port", settings.port);
  reply->AddFormat("%s=%d", "Timeout", settings.timeout);
  AddKeyLine("Comment", settings.comment, reply);
  AddCatalogue(kActions, "Available actions", "Enabled actions", settings, reply);
  AddHost(reply);
  AddKeyLine("OSUpdates", "not implemented", reply);
}

}  // namespace zem
