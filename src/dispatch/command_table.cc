// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/command_table.h"

#include "dispatch/agent_info.h"
#include "dispatch/fixed_answers.h"
#include "dispatch/management.h"
#include "dispatch/settings_exchange.h"
#include "dispatch/upgrade.h"

namespace zem {

namespace {

using S = Settings;

constexpr CommandRow kTable[] = {
    {"TEST-UNC", NotImplementedYet, Gate::Test(&S::unc)},
    {"TEST-DiskSpace", NotApplicable, Gate::Always()},
    {"TEST-FolderSize", NotImplementedYet, Gate::Test(&S::folder_size)},
    {"TEST-FileExists", NotImplementedYet, Gate::Test(&S::file_exists)},
    {"TEST-FileCompare", NotImplementedYet, Gate::Test(&S::compare_files)},
    {"TEST-FileHash", NotImplementedYet, Gate::Test(&S::file_crc)},
    {"TEST-CountFiles", NotImplementedYet, Gate::Test(&S::count_files)},
    {"TEST-Process", NotImplementedYet, Gate::Test(&S::process)},
    {"TEST-Service", NotApplicable, Gate::Always()},
    {"TEST-NTLog", NotApplicable, Gate::Always()},
    {"TEST-CPU", NotImplementedYet, Gate::Test(&S::cpu_usage)},
    {"TEST-PerfCounter", NotApplicable, Gate::Always()},
    {"TEST-Script", NotImplementedYet, Gate::Always()},
    {"TEST-SNMP", NotImplementedYet, Gate::Always()},
    {"TEST-ExternalPrg", NotImplementedYet, Gate::Test(&S::external)},
    {"TEST-Ping", NotImplementedYet, Gate::Always()},
    {"TEST-TCP", NotImplementedYet, Gate::Test(&S::tcp)},
    {"TEST-UDP", NotImplementedYet, Gate::Test(&S::udp)},
    {"TEST-TextLog", NotImplementedYet, Gate::Test(&S::text_log)},
    {"TEST-TextLog2", NotImplementedYet, Gate::Test(&S::text_log)},
    {"TEST-ShellScript", NotImplementedYet, Gate::Test(&S::shell_script)},
    {"ACT-ExternalCmd", NotImplementedYet, Gate::Action(&S::execute_action)},
    {"ACT-TCPUDPsend", NotImplementedYet, Gate::Action(&S::tcp_udp_action)},
    {"ACT-Syslog", NotImplementedYet, Gate::Action(&S::syslog_action)},
    {"GetProcessesList", NotImplementedYet, Gate::Test(&S::process)},
    {"GetServicesList", NotApplicable, Gate::Always()},
    {"GetEventLogFiles", NotApplicable, Gate::Always()},
    {"GetEventLogSources", NotApplicable, Gate::Always()},
    {"GetDriveList", NotImplementedYet, Gate::Always()},
    {"GetFilesList", NotImplementedYet, Gate::AnyFileTest()},
    {"GetInfo", GetInfo, Gate::Always()},
    {"ReloadCfg", ReloadConfiguration, Gate::Manage()},
    {"ReloadApp", RestartAgent, Gate::Manage()},
    {"QUIT", QuitAgent, Gate::Manage()},
    {"GetSettings", GetSettings, Gate::Manage()},
    {"SetSettings", SetSettings, Gate::Manage()},
    {"UpgradeCode", StartUpgrade, Gate::Update()},
};

}  // namespace

std::span<const CommandRow> CommandTable() {
  return kTable;
}

const CommandRow* FindCommand(std::string_view word) {
  for (const CommandRow& row : kTable) {
    if (row.word == word) return &row;
  }
  return nullptr;
}

}  // namespace zem
