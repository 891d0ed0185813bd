// SPDX-License-Identifier: BSD-2-Clause
#include <sys/stat.h>

#include "local/findings.h"
#include "text/file_info.h"
#include "text/ovstring.h"
#include "text/path.h"

namespace zem::client {

namespace {

constexpr mode_t kReadableByOthers = S_IRGRP | S_IROTH;
constexpr mode_t kWritableByOthers = S_IWGRP | S_IWOTH;

void InspectSecret(const OvString& path, std::string_view suffix, Findings* findings) {
  struct stat info;
  if (!StatPath(path, &info)) return;
  if ((info.st_mode & kReadableByOthers) != 0) {
    Warn(findings, "", "{} holds a password and can be read by others: chmod 600", path.View());
  }
  if ((info.st_mode & kWritableByOthers) != 0) {
    Warn(findings, "", "{} can be changed by others", path.View());
  }
  if (suffix == ".Old") {
    Note(findings, "", "{} keeps the previous settings; delete it after a change of password",
         path.View());
  }
}

// The configuration and the copies a save leaves beside it: all hold a password.
void InspectConfig(const OvString& path, Findings* findings) {
  for (const char* suffix : {"", ".Old", ".New"}) {
    OvString copy = path;
    InspectSecret(copy.Append(suffix), suffix, findings);
  }
  struct stat info;
  OvString folder = ExtractFilePath(path);
  if (folder.IsEmpty()) folder = ".";
  if (StatPath(folder, &info) && (info.st_mode & S_IWOTH) != 0 && (info.st_mode & S_ISVTX) == 0) {
    Warn(findings, "", "everybody may replace files in {}", folder.View());
  }
}

void InspectProgram(const char* key, const OvString& path, Findings* findings) {
  struct stat info;
  if (path.IsEmpty()) return;
  if (!StatPath(path, &info)) return Warn(findings, key, "{} does not exist", path.View());
  if (!S_ISREG(info.st_mode)) {
    Warn(findings, key, "{} is no regular file", path.View());
  } else if ((info.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) == 0) {
    Warn(findings, key, "{} is not executable", path.View());
  }
  if ((info.st_mode & kWritableByOthers) != 0) {
    Warn(findings, key, "{} can be changed by others than its owner", path.View());
  }
}

void InspectCharacters(const char* key, const OvString& path, std::string_view effect,
                       Findings* findings) {
  if (path.View().find_first_of(" \t\"'\\$`;&|<>()[]*?#~!") == std::string_view::npos) return;
  Warn(findings, key, "blanks and shell characters in the path {}", effect);
}

void InspectScript(const char* key, const OvString& path, Findings* findings) {
  InspectProgram(key, path, findings);
  InspectCharacters(key, path, "split it, and a script takes no arguments here", findings);
}

void InspectTempDir(const OvString& path, Findings* findings) {
  struct stat info;
  if (path.IsEmpty()) return;
  if (!StatPath(path, &info) || !S_ISDIR(info.st_mode)) {
    Warn(findings, "tmpdir", "{} is no folder: the environment's or the present one is used",
         path.View());
  } else if ((info.st_mode & kWritableByOthers) != 0) {
    Note(findings, "tmpdir", "others may write in {}", path.View());
  }
}

void InspectLog(const char* key, bool used, const OvString& path, Findings* findings) {
  if (!used || path.IsEmpty()) return;
  const OvString folder = ExtractFilePath(path);
  if (folder.IsEmpty()) {
    Note(findings, key, "without a folder: the log lies beside the configuration file");
  } else if (!DirectoryExists(folder)) {
    Warn(findings, key, "{} does not exist: nothing is logged", folder.View());
  }
}

}  // namespace

void InspectFiles(const Settings& settings, Findings* findings) {
  InspectConfig(settings.config_path, findings);
  if (!settings.zempath.IsEmpty() && settings.zempath.View().front() == '/') {
    InspectProgram("zempath", settings.zempath, findings);
  }
  InspectCharacters("zempath", settings.zempath, "keep upgrades from being installed", findings);
  InspectCharacters("tmpdir", settings.tmp_dir, "keep process checks and upgrades from working",
                    findings);
  InspectScript("proccntscript", settings.proc_cnt_script, findings);
  InspectScript("proclistscript", settings.proc_list_script, findings);
  InspectScript("cpuusagescript", settings.cpu_usage_script, findings);
  InspectTempDir(settings.tmp_dir, findings);
  InspectLog("oklogfile", settings.log_success, settings.ok_log_file, findings);
  InspectLog("badlogfile", settings.log_fails, settings.bad_log_file, findings);
  InspectLog("verboselogfile", true, settings.verbose_log_file, findings);
}

}  // namespace zem::client
