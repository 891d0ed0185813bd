// SPDX-License-Identifier: BSD-2-Clause
#include <sys/stat.h>

#include <fmt/format.h>

#include "local/findings.h"
#include "text/file_info.h"
#include "text/ovstring.h"
#include "text/path.h"

namespace zem::client {

namespace {

constexpr mode_t kReadableByOthers = S_IRGRP | S_IROTH;
constexpr mode_t kWritableByOthers = S_IWGRP | S_IWOTH;

class FileInspector {
 public:
  explicit FileInspector(Findings* findings) : findings_(findings) {}

  // The configuration and the copies a save leaves beside it: all hold a password.
  void InspectConfig(const OvString& path) {
    InspectSecret(path, "");
    for (const char* suffix : {".Old", ".New"}) {
      OvString copy = path;
      copy.Append(suffix);
      InspectSecret(copy, suffix);
    }
    struct stat info;
    OvString folder = ExtractFilePath(path);
    if (folder.IsEmpty()) folder = ".";
    if (StatPath(folder, &info) && (info.st_mode & S_IWOTH) != 0 && (info.st_mode & S_ISVTX) == 0) {
      Add(Severity::kWarning, "", fmt::format("everybody may replace files in {}", folder.View()));
    }
  }

  void InspectProgram(const char* key, const OvString& path) {
    struct stat info;
    if (path.IsEmpty()) return;
    if (!StatPath(path, &info)) {
      Add(Severity::kWarning, key, fmt::format("{} does not exist", path.View()));
      return;
    }
    if (!S_ISREG(info.st_mode)) {
      Add(Severity::kWarning, key, fmt::format("{} is no regular file", path.View()));
    } else if ((info.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) == 0) {
      Add(Severity::kWarning, key, fmt::format("{} is not executable", path.View()));
    }
    if ((info.st_mode & kWritableByOthers) != 0) {
      Add(Severity::kWarning, key,
          fmt::format("{} can be changed by others than its owner", path.View()));
    }
  }

  void InspectScript(const char* key, const OvString& path) {
    InspectProgram(key, path);
    InspectCharacters(key, path, "split it, and a script takes no arguments here");
  }

  void InspectCharacters(const char* key, const OvString& path, const char* effect) {
    if (path.View().find_first_of(" \t\"'\\$`;&|<>()[]*?#~!") == std::string_view::npos) return;
    Add(Severity::kWarning, key, fmt::format("blanks and shell characters in the path {}", effect));
  }

  void InspectTempDir(const OvString& path) {
    struct stat info;
    if (path.IsEmpty()) return;
    if (!StatPath(path, &info) || !S_ISDIR(info.st_mode)) {
      Add(Severity::kWarning, "tmpdir",
          fmt::format("{} is no folder: the environment's or the present one is used",
                      path.View()));
    } else if ((info.st_mode & kWritableByOthers) != 0) {
      Add(Severity::kNote, "tmpdir", fmt::format("others may write in {}", path.View()));
    }
  }

  void InspectLog(const char* key, bool used, const OvString& path) {
    if (!used || path.IsEmpty()) return;
    const OvString folder = ExtractFilePath(path);
    if (folder.IsEmpty()) {
      Add(Severity::kNote, key, "without a folder: the log lies beside the configuration file");
    } else if (!DirectoryExists(folder)) {
      Add(Severity::kWarning, key,
          fmt::format("{} does not exist: nothing is logged", folder.View()));
    }
  }

 private:
  void Add(Severity severity, const char* key, std::string text) {
    findings_->push_back({severity, 0, key, std::move(text)});
  }

  void InspectSecret(const OvString& path, std::string_view suffix) {
    struct stat info;
    if (!StatPath(path, &info)) return;
    if ((info.st_mode & kReadableByOthers) != 0) {
      Add(Severity::kWarning, "",
          fmt::format("{} holds a password and can be read by others: chmod 600", path.View()));
    }
    if ((info.st_mode & kWritableByOthers) != 0) {
      Add(Severity::kWarning, "", fmt::format("{} can be changed by others", path.View()));
    }
    if (suffix == ".Old") {
      Add(Severity::kNote, "",
          fmt::format("{} keeps the previous settings; delete it after a change of password",
                      path.View()));
    }
  }

  Findings* const findings_;
};

}  // namespace

void InspectFiles(const Settings& settings, Findings* findings) {
  FileInspector inspector(findings);
  inspector.InspectConfig(settings.config_path);
  if (!settings.zempath.IsEmpty() && settings.zempath.View().front() == '/') {
    inspector.InspectProgram("zempath", settings.zempath);
  }
  inspector.InspectCharacters("zempath", settings.zempath, "keep upgrades from being installed");
  inspector.InspectCharacters("tmpdir", settings.tmp_dir,
                              "keep process checks and upgrades from working");
  inspector.InspectScript("proccntscript", settings.proc_cnt_script);
  inspector.InspectScript("proclistscript", settings.proc_list_script);
  inspector.InspectScript("cpuusagescript", settings.cpu_usage_script);
  inspector.InspectTempDir(settings.tmp_dir);
  inspector.InspectLog("oklogfile", settings.log_success, settings.ok_log_file);
  inspector.InspectLog("badlogfile", settings.log_fails, settings.bad_log_file);
  inspector.InspectLog("verboselogfile", true, settings.verbose_log_file);
}

}  // namespace zem::client
