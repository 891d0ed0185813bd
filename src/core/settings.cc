// SPDX-License-Identifier: BSD-2-Clause
#include "core/settings.h"

namespace zem {

namespace {

constexpr OnLoad kReset = OnLoad::kReset;
constexpr OnLoad kKeep = OnLoad::kKeep;
constexpr OnSave kNever = OnSave::kNever;
constexpr OnSave kRewrite = OnSave::kRewrite;
constexpr OnSave kAppend = OnSave::kAppend;

using S = Settings;

// Deliberate: the defaults of "filtermarks" and "filterlist" stand crossed, so a file that names
// neither is warned about at every load. Servers and files in the field rely on both; leave them.
constexpr SettingRow kTable[] = {
    {"host", "", &S::host, "", kKeep, kAppend},
    {"port", "Port", &S::port, "", kKeep, kAppend},
    {"timeout", "Timeout", &S::timeout, "", kKeep, kAppend},
    {"comment", "Comment", &S::comment, "", kReset, kAppend},
    {"password", "Password", &S::password, "", kReset, kAppend},
    {"filteractive", "IPFiltering", &S::filter_active, "0", kReset, kAppend},
    {"filtermarks", "IPFilterMarks", &S::filter_marks, "127.0.0.1", kReset, kAppend},
    {"filterlist", "IPFilterAddr", &S::filter_list, "1", kReset, kAppend},
    {"verboselogfile", "", &S::verbose_log_file, "", kKeep, kAppend},
    {"logsuccess", "LogOkConn", &S::log_success, "0", kReset, kAppend},
    {"logfails", "LogBadConn", &S::log_fails, "1", kReset, kAppend},
    {"oklogfile", "OkLogFile", &S::ok_log_file, "log1.txt", kReset, kAppend},
    {"badlogfile", "BadLogFile", &S::bad_log_file, "log2.txt", kReset, kAppend},
    {"allowupdates", "AllowUpdates", &S::allow_updates, "1", kReset, kAppend},
    {"allowmanage", "AllowRManage", &S::allow_manage, "1", kReset, kAppend},
    {"updateaddr", "UpdateAddr", &S::update_addr, "127.0.0.1", kReset, kAppend},
    {"manageaddr", "ManageAddr", &S::manage_addr, "127.0.0.1", kReset, kAppend},
    {"unc", "UNC", &S::unc, "1", kReset, kAppend},
    {"foldersize", "Folder Size", &S::folder_size, "1", kReset, kAppend},
    {"countfiles", "Count Files", &S::count_files, "1", kReset, kAppend},
    {"fileexists", "File Availability", &S::file_exists, "1", kReset, kAppend},
    {"filecrc", "File Integrity", &S::file_crc, "1", kReset, kAppend},
    {"comparefiles", "File Compare", &S::compare_files, "1", kReset, kAppend},
    {"process", "Process", &S::process, "1", kReset, kAppend},
    {"cpuusage", "CPU Usage", &S::cpu_usage, "1", kReset, kAppend},
    {"script", "Script", &S::script, "1", kReset, kAppend},
    {"external", "External", &S::external, "1", kReset, kAppend},
    {"ping", "Ping", &S::ping, "1", kReset, kAppend},
    {"tcp", "TCP", &S::tcp, "1", kReset, kAppend},
    {"udp", "UDP", &S::udp, "1", kReset, kAppend},
    {"textlog", "Text Log", &S::text_log, "1", kReset, kAppend},
    {"shellscript", "", &S::shell_script, "1", kReset, kAppend},
    {"executeaction", "Execute external command", &S::execute_action, "0", kReset, kAppend},
    {"tcpudpaction", "TCP/UDP send", &S::tcp_udp_action, "0", kReset, kAppend},
    {"syslogaction", "Syslog", &S::syslog_action, "0", kReset, kAppend},
    // Deliberate: rewritten where it stands, yet a file without it never gains it.
    {"freespace", "Drive Space", &S::free_space, "1", kReset, kRewrite},
    {"zempath", "", &S::zempath, "", kReset, kNever},
    {"pidfile", "", &S::pid_file, "", kReset, kNever},
    {"cpuusagescript", "", &S::cpu_usage_script, "", kKeep, kNever},
    {"proclistscript", "", &S::proc_list_script, "", kKeep, kNever},
    {"proccntscript", "", &S::proc_cnt_script, "", kKeep, kNever},
    {"tmpdir", "", &S::tmp_dir, "", kKeep, kNever},
    {"delayforscripts", "", &S::delay_for_scripts, "90000", kReset, kNever},
    {"", "Service", &S::service_check, "0", kReset, kNever},
    {"", "NT Event Log", &S::event_log_check, "0", kReset, kNever},
    {"", "Perf Counter", &S::perf_counter_check, "0", kReset, kNever},
    {"", "SNMP", &S::snmp_check, "0", kReset, kNever},
};

template <typename T>
bool IsMember(const SettingRow& row, T Settings::*member) {
  const auto* held = std::get_if<T Settings::*>(&row.member);
  return held != nullptr && *held == member;
}

}  // namespace

std::span<const SettingRow> SettingsTable() {
  return kTable;
}

const SettingRow* FindSettingByKey(std::string_view key) {
  if (key.empty()) return nullptr;
  for (const SettingRow& row : kTable) {
    if (row.key == key) return &row;
  }
  return nullptr;
}

const SettingRow* FindSettingByWireName(std::string_view name) {
  if (name.empty()) return nullptr;
  for (const SettingRow& row : kTable) {
    if (row.wire_name == name) return &row;
  }
  return nullptr;
}

OvString HeldFilterList(std::string_view file_text) {
  return OvString(file_text).ReplaceAll(" ", "\r\n");
}

OvString FileFilterList(std::string_view held_text) {
  return OvString(held_text).ReplaceAll("\r\n", " ");
}

bool IsFilterList(const SettingRow& row) {
  return IsMember(row, &Settings::filter_list);
}

bool IsPort(const SettingRow& row) {
  return IsMember(row, &Settings::port);
}

}  // namespace zem
