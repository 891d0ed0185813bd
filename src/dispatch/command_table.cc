// SPDX-License-Identifier: BSD-2-Clause
#include "dispatch/command_table.h"

#include "actions/external_command.h"
#include "actions/send_action.h"
#include "actions/syslog_action.h"
#include "checks/files/count_files.h"
#include "checks/files/disk_space.h"
#include "checks/files/file_compare.h"
#include "checks/files/file_exists.h"
#include "checks/files/file_hash.h"
#include "checks/files/file_list.h"
#include "checks/files/folder_size.h"
#include "checks/system/external_program.h"
#include "checks/system/process_check.h"
#include "checks/system/shell_script.h"
#include "checks/system/tcp_udp_check.h"
#include "dispatch/agent_info.h"
#include "dispatch/plain_commands.h"
#include "dispatch/settings_exchange.h"
#include "dispatch/upgrade.h"

namespace zem {

namespace {

using S = Settings;

constexpr CommandRow kTable[] = {
    {"TEST-UNC", CheckDiskSpace, Gate::Test(&S::unc)},
    {"TEST-DiskSpace", NotApplicable, Gate::Always()},
    {"TEST-FolderSize", CheckFolderSize, Gate::Test(&S::folder_size)},
    {"TEST-FileExists", CheckFileExists, Gate::Test(&S::file_exists)},
    {"TEST-FileCompare", CheckFileCompare, Gate::Test(&S::compare_files)},
    {"TEST-FileHash", CheckFileHash, Gate::Test(&S::file_crc)},
    {"TEST-CountFiles", CheckCountFiles, Gate::Test(&S::count_files)},
    {"TEST-Process", CheckProcess, Gate::Test(&S::process)},
    {"TEST-Service", NotApplicable, Gate::Always()},
    {"TEST-NTLog", NotApplicable, Gate::Always()},
    {"TEST-CPU", CheckCpu, Gate::Test(&S::cpu_usage)},
    {"TEST-PerfCounter", NotApplicable, Gate::Always()},
    {"TEST-Script", NotImplementedYet, Gate::Always()},
    {"TEST-SNMP", NotImplementedYet, Gate::Always()},
    {"TEST-ExternalPrg", CheckExternalProgram, Gate::Test(&S::external)},
    {"TEST-Ping", NotImplementedYet, Gate::Always()},
    {"TEST-TCP", CheckTcp, Gate::Test(&S::tcp)},
    {"TEST-UDP", CheckUdp, Gate::Test(&S::udp)},
    {"TEST-TextLog", NotImplementedYet, Gate::Test(&S::text_log)},
    {"TEST-TextLog2", NotImplementedYet, Gate::Test(&S::text_log)},
    {"TEST-ShellScript", CheckShellScript, Gate::Test(&S::shell_script)},
    {"ACT-ExternalCmd", RunExternalCommand, Gate::Action(&S::execute_action)},
    {"ACT-TCPUDPsend", SendTcpUdp, Gate::Action(&S::tcp_udp_action)},
    {"ACT-Syslog", SendSyslog, Gate::Action(&S::syslog_action)},
    {"GetProcessesList", ListProcesses, Gate::Test(&S::process)},
    {"GetServicesList", NotApplicable, Gate::Always()},
    {"GetEventLogFiles", NotApplicable, Gate::Always()},
    {"GetEventLogSources", NotApplicable, Gate::Always()},
    {"GetDriveList", NotImplementedYet, Gate::Always()},
    {"GetFilesList", ListFiles, Gate::AnyFileTest()},
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
