// SPDX-License-Identifier: BSD-2-Clause
// A temporary directory without a free block: files can be made in it, not filled.
#ifdef __linux__

#include <sys/mount.h>

#include "checks/system/process_check.h"
#include "checks/system/process_runner.h"
#include "checks/system/scratch.h"
#include "checks/system/shell_script.h"

namespace zem {
namespace {

TEST(FullDisk, GetsTheRepliesOfUnwrittenResults) {
  const Scratch scratch;
  if (mount("tmpfs", scratch.Temp().c_str(), "tmpfs", 0, "size=16k") != 0) {
    GTEST_SKIP() << "takes the right to mount";
  }
  WriteFile(scratch.Temp() + "/filler", std::string(20000, 'x'));
  Settings settings;
  settings.proc_cnt_script = scratch.WriteScript("count", "echo 3\n").c_str();
  settings.cpu_usage_script = settings.proc_list_script = settings.proc_cnt_script;
  EXPECT_EQ(Answer(CheckProcess, settings, "\ninit\n"), "301\nScript error");
  EXPECT_EQ(Answer(CheckCpu, settings, ""), "301\nScript error");
  EXPECT_EQ(Answer(ListProcesses, settings, ""), "200\n\n");
  EXPECT_EQ(Answer(CheckShellScript, settings, "sh %script% -\necho a\n\n\n\n"),
            "301\ncannot create temp file");
  // The reason has no room either.
  int32_t exit_code = 0;
  OvString error;
  EXPECT_FALSE(RunQuietProcess({.command_line = "/no/such/program"}, &exit_code, &error));
  EXPECT_EQ(error, "exec error");
  EXPECT_EQ(scratch.LeftInTemp(), std::vector<std::string>{"filler"});
  umount(scratch.Temp().c_str());
}

}  // namespace
}  // namespace zem

#endif  // __linux__
