// SPDX-License-Identifier: BSD-2-Clause
// Every setting of the agent, and the one table that says how each is read, written and named.
//
// A published record is constant: sessions hold it through a shared pointer (see
// settings_store.h). Whoever changes something works on a copy of his own.

#ifndef ZEM_CORE_SETTINGS_H_
#define ZEM_CORE_SETTINGS_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <variant>

#include "text/ovstring.h"

namespace zem {

enum class RunMode : int { kDaemon = 0, kInteractive = 1 };

struct Settings {
  Settings() = default;
  Settings(const Settings&) = default;
  Settings& operator=(const Settings&) = default;
  ~Settings() {
    password.Wipe();
    password_field.Wipe();
  }

  // From the command line; constant after start-up.
  RunMode run_mode = RunMode::kDaemon;
  bool verbose = false;
  bool verbose_debugging = false;
  OvString config_path;

  // Agent and listener.
  OvString zempath;  // full path of the agent's program, executed on restart
  OvString host;     // local address to listen on; empty = all
  int port = 0;
  int timeout = 0;  // milliseconds a silent session may stay; negative = for ever
  OvString comment;
  OvString password;
  OvString password_field;  // its PasswordDigest, made by the store for every published record
  OvString pid_file;

  // Connection filter. The list's items are separated by CR LF here, by blanks in the file.
  bool filter_active = false;
  OvString filter_marks;
  OvString filter_list;
  OvString allow_list;  // derived: CR LF, then each active item followed by CR LF

  // Activity logs.
  bool log_success = false;
  bool log_fails = false;
  OvString ok_log_file;
  OvString bad_log_file;
  OvString verbose_log_file;

  // Management from afar.
  bool allow_updates = false;
  bool allow_manage = false;
  OvString update_addr;
  OvString manage_addr;

  // Switches of the tests.
  bool unc = false;
  bool free_space = false;
  bool folder_size = false;
  bool count_files = false;
  bool file_exists = false;
  bool file_crc = false;
  bool compare_files = false;
  bool process = false;
  bool cpu_usage = false;
  bool script = false;
  bool external = false;
  bool ping = false;
  bool tcp = false;
  bool udp = false;
  bool text_log = false;
  bool shell_script = false;
  // Switches of tests that exist on other platforms alone: kept in memory, lost at each load.
  bool service_check = false;
  bool event_log_check = false;
  bool perf_counter_check = false;
  bool snmp_check = false;

  // Switches of the actions.
  bool execute_action = false;
  bool tcp_udp_action = false;
  bool syslog_action = false;

  // Scripts and temporary files.
  OvString cpu_usage_script;
  OvString proc_list_script;
  OvString proc_cnt_script;
  OvString tmp_dir;
  int delay_for_scripts = 0;  // microseconds
};

using SettingsPtr = std::shared_ptr<const Settings>;

// What a load does to a setting before it reads the file.
enum class OnLoad : uint8_t { kReset, kKeep };

// What a save does with a setting's key.
enum class OnSave : uint8_t {
  kNever,    // its line is copied as it stands
  kRewrite,  // its line is rewritten, but none is added to a file without one
  kAppend,   // its line is rewritten, or added at the end
};

using SettingMember = std::variant<OvString Settings::*, bool Settings::*, int Settings::*>;

struct SettingRow {
  std::string_view key;        // in the file, lower case; empty = in memory alone
  std::string_view wire_name;  // in SetSettings; empty = cannot be set from afar
  SettingMember member;
  std::string_view reset_text;  // default put back by a load, as the file would spell it
  OnLoad on_load;
  OnSave on_save;
};

// In the order in which a save appends the keys that a file lacks.
std::span<const SettingRow> SettingsTable();

// The row of a key of the file (already in lower case), or null.
const SettingRow* FindSettingByKey(std::string_view key);
// The row of a name on the wire, or null. Case-sensitive.
const SettingRow* FindSettingByWireName(std::string_view name);

inline constexpr int kDefaultTimeout = 4000;

// The list as the file spells it (items between blanks) and as it is held (between CR LF).
OvString HeldFilterList(std::string_view file_text);
OvString FileFilterList(std::string_view held_text);

bool IsFilterList(const SettingRow& row);
bool IsPort(const SettingRow& row);

}  // namespace zem

#endif  // ZEM_CORE_SETTINGS_H_
