// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/process_runner.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "checks/system/scratch.h"
#include "checks/system/shell_command.h"
#include "plain_user.h"

namespace zem {
namespace {

constexpr const char* kMissing = "exec error: No such file or directory";

struct Outcome {
  bool done = false;
  int32_t exit_code = -7;
  std::string error;
  double seconds = 0;
};

Outcome Quiet(const std::string& command, int32_t timeout_ms = 0, const char* directory = nullptr) {
  Outcome outcome;
  OvString error("old text");
  const Stopwatch watch;
  outcome.done = RunQuietProcess(
      {.command_line = command.c_str(), .working_directory = directory, .timeout_ms = timeout_ms},
      &outcome.exit_code, &error);
  outcome.seconds = watch.Seconds();
  outcome.error = error.View();
  return outcome;
}

std::string Shell(const std::string& script) {
  return "/bin/sh -c '" + script + "'";
}

TEST(ProcessRunner, ReportsHowAProgramEnded) {
  const Scratch scratch;
  const struct {
    const char* name;
    std::string command;
    bool done;
    int32_t exit_code;
    const char* error;
  } cases[] = {
      {"success", "true", true, 0, ""},
      {"exit status", Shell("exit 3"), true, 3, ""},
      {"a real 255", Shell("exit 255"), true, 255, ""},
      {"closes its streams", Shell("exec <&- >&- 2>&-; exit 4"), true, 4, ""},
      {"23 of 30 words",
       "/bin/sh -c 'exit $#' 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25",
       true, 19, ""},
      {"missing", "/no/such/program x", false, -7, kMissing},
      {"empty", "", false, -7, kMissing},
      {"only blanks", "   ", false, -7, kMissing},
      {"empty word", "''", false, -7, kMissing},
      {"a folder", "/tmp", false, -7, "exec error: Permission denied"},
      {"kills itself", Shell("kill -KILL $$"), false, -7, "abnormal termination"},
      {"killed with its reason written",
       Shell("echo reason >$TMPDIR/tmpSzem-$$.txt; kill -KILL $$"), false, -7,
       "abnormal termination"},
      {"faults", Shell("kill -SEGV $$"), false, -7, "abnormal termination"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = Quiet(c.command);
    EXPECT_EQ(outcome.done, c.done);
    EXPECT_EQ(outcome.exit_code, c.exit_code);
    EXPECT_EQ(outcome.error, c.error);
    EXPECT_LT(outcome.seconds, 5);
  }
  EXPECT_TRUE(HasNoChild());
  EXPECT_EQ(scratch.LeftInTemp(), std::vector<std::string>());
}

// All the slow waits at once, each in a thread of its own.
TEST(ProcessRunner, KeepsItsTimeLimits) {
  const Scratch scratch;
  const struct {
    const char* name;
    std::string command;
    int32_t timeout_ms;
    bool done;
    int32_t exit_code;
    const char* error;
    double least;
    double most;
  } cases[] = {
      {"no limit", Shell("sleep 2; exit 5"), 0, true, 5, "", 2, 2.9},
      {"within the limit", Shell("sleep 1.2; exit 6"), 1000, true, 6, "", 1.2, 2.9},
      {"half a second means one", "sleep 60", 500, false, -7, "abnormal termination", 1, 1.9},
      {"one second means two", "sleep 60", 1000, false, -7, "abnormal termination", 2, 2.9},
      {"two seconds mean three", "sleep 60", 2000, false, -7, "abnormal termination", 3, 3.9},
      {"ignores what can be ignored", Shell("trap \"\" TERM INT HUP; sleep 60; sleep 60"), 999,
       false, -7, "abnormal termination", 1, 1.9},
      {"already passed", "sleep 60", -1000, false, -7, "abnormal termination", 0, 0.9},
      {"lowest", "sleep 60", INT32_MIN, false, -7, "abnormal termination", 0, 0.9},
      {"highest", Shell("exit 9"), INT32_MAX, true, 9, "", 0, 0.9},
      {"no wait, runs on", "sleep 6", -1, true, 0, "", 1, 1.6},
      {"no wait, ended", Shell("exit 7"), -1, true, 7, "", 1, 1.6},
      {"no wait, real 255", Shell("exit 255"), -1, true, 255, "", 1, 1.6},
      {"no wait, killed", Shell("kill -KILL $$"), -1, true, 0, "", 1, 1.6},
      {"no wait, missing", "/no/such/program", -1, false, 0, "exec error", 1, 1.6},
  };
  Outcome outcomes[std::size(cases)];
  std::vector<std::thread> threads;
  for (size_t i = 0; i < std::size(cases); ++i) {
    threads.emplace_back([&, i] { outcomes[i] = Quiet(cases[i].command, cases[i].timeout_ms); });
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(cases[i].name);
    EXPECT_EQ(outcomes[i].done, cases[i].done);
    EXPECT_EQ(outcomes[i].exit_code, cases[i].exit_code);
    EXPECT_EQ(outcomes[i].error, cases[i].error);
    EXPECT_GE(outcomes[i].seconds, cases[i].least);
    // The limits are the runner's; a busy machine may add to them.
    EXPECT_LE(outcomes[i].seconds, cases[i].most + 4);
  }
  EXPECT_EQ(scratch.LeftInTemp(), std::vector<std::string>());
  // One child is left: the program that was not waited for.
  siginfo_t ended;
  EXPECT_EQ(waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), 0);
  ReapLeftPrograms();
  EXPECT_TRUE(HasNoChild());
}

TEST(ProcessRunner, ATimeOutTakesTheGrandchildrenAlong) {
  const Scratch scratch;
  const std::string script =
      scratch.WriteScript("parent", "sleep 300 & echo $! >" + scratch / "pid" + "\nwait\n");
  EXPECT_EQ(Quiet(script, 500).error, "abnormal termination");
  const int grandchild = atoi(ReadFile(scratch / "pid").c_str());
  ASSERT_GT(grandchild, 0);
  EXPECT_TRUE(IsGone(grandchild));
}

TEST(ProcessRunner, PutsTheStreamsOnFiles) {
  const Scratch scratch;
  WriteFile(scratch / "in", "input text\n");
  WriteFile(scratch / "out", std::string(100000, 'o') + "what was there before");
  int32_t exit_code = 0;
  OvString error;
  // A megabyte and more on two streams that share a file: nothing overwrites anything.
  const std::string script = scratch.WriteScript(
      "talk",
      "cat\ni=0\nwhile [ $i -lt 2000 ]; do echo out; echo err >&2; i=$((i+1)); done\n"
      "dd if=/dev/zero bs=65536 count=16 2>/dev/null | tr '\\0' x\n");
  ASSERT_TRUE(RunProcess({.command_line = script.c_str(),
                          .input_file = (scratch / "in").c_str(),
                          .output_file = (scratch / "out").c_str(),
                          .error_file = (scratch / "out").c_str()},
                         &exit_code, &error));
  std::string expected = "input text\n";
  for (int i = 0; i < 2000; ++i) expected += "out\nerr\n";
  EXPECT_TRUE(ReadFile(scratch / "out") == expected + std::string(1 << 20, 'x'));

  // Streams without a file, or with one that cannot be opened, are on the null device.
  const std::string look = Shell("read x && exit 1; echo text || exit 2; echo text >&2 || exit 3");
  for (const char* path : {static_cast<const char*>(nullptr), "/no/such/folder/file", ""}) {
    exit_code = -1;
    EXPECT_TRUE(RunProcess(
        {.command_line = look.c_str(), .input_file = path, .output_file = path, .error_file = path},
        &exit_code, &error));
    EXPECT_EQ(exit_code, 0) << (path == nullptr ? "null" : path);
  }
}

TEST(ProcessRunner, RunsInTheFolderItIsGivenOrInTheAgentsOwn) {
  const Scratch scratch;
  const std::string look = scratch.WriteScript("look", "pwd >" + scratch / "where" + "\n");
  const std::string own = std::filesystem::current_path().string() + "\n";
  const struct {
    const std::string folder;
    const std::string where;
  } cases[] = {
      {scratch.Temp(), scratch.Temp() + "\n"}, {"/no/such/folder", own}, {"", own}, {look, own}};
  for (const auto& c : cases) {
    EXPECT_TRUE(Quiet(look, 0, c.folder.c_str()).done);
    EXPECT_EQ(ReadFile(scratch / "where"), c.where) << c.folder;
  }
  // A relative temporary directory counts from the child's folder: no reason is found here.
  Scratch::Use(".");
  const Outcome outcome = Quiet("/no/such/program", 0, scratch.Temp().c_str());
  EXPECT_TRUE(outcome.done);
  EXPECT_EQ(outcome.exit_code, 255);
}

TEST(ProcessRunner, WithoutAPlaceForTheReasonAFailedExecIsARunOf255) {
  const Scratch scratch;
  for (const std::string& folder : {scratch / "missing", "/" + std::string(1010, 'd')}) {
    Scratch::Use(folder);
    const Outcome outcome = Quiet("/no/such/program");
    EXPECT_TRUE(outcome.done);
    EXPECT_EQ(outcome.exit_code, 255);
  }
}

TEST(ProcessRunner, ChildrenStartWithTheSignalsOfTheAgentsOwnStart) {
  const Scratch scratch;
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  pthread_sigmask(SIG_SETMASK, &blocked, &before);
  signal(SIGPIPE, SIG_IGN);  // NOLINT(bugprone-signal-handler): no handler at all
  for (const char* name : {"TERM", "HUP", "PIPE", "USR1"}) {
    const std::string script = Shell(std::string("kill -") + name + " $$; sleep 5");
    EXPECT_EQ(Quiet(script).error, "abnormal termination") << name;
    const std::string direct = std::string("kill -") + name + " $$; sleep 5";
    EXPECT_TRUE(WIFSIGNALED(RunShellCommand(direct.c_str()))) << name;
  }
  signal(SIGPIPE, SIG_DFL);  // NOLINT(bugprone-signal-handler)
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// As when another thread's child, between its fork and its exec, still holds the descriptor
// through which the script was written.
TEST(ProcessRunner, WaitsForTheLastWriterOfAScript) {
  const Scratch scratch;
  const std::string script = scratch.WriteScript("busy", "exit 8\n");
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t writer = fork();
  if (writer == 0) {
    const int fd = open(script.c_str(), O_WRONLY | O_APPEND);
    (void)!write(ready[1], "x", fd >= 0 ? 1 : 0);
    usleep(150000);
    _exit(0);
  }
  char byte;
  close(ready[1]);
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  close(ready[0]);
  EXPECT_EQ(Quiet(script).exit_code, 8);
  waitpid(writer, nullptr, 0);
}

TEST(ProcessRunner, TellsWhenNoProcessCanBeStarted) {
  EXPECT_TRUE(HoldsForPlainUser([] {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_NPROC, &none);
    EXPECT_EQ(Quiet("true").error, "fork error");
    EXPECT_EQ(RunShellCommand("true"), -1);
  }));
}

TEST(ProcessRunner, AProgramOfAnotherUserIsReapedWhenItEndsByItself) {
  const Scratch scratch;
  const std::string become_root = scratch / "become-root";
  std::error_code failed;
  std::filesystem::copy("/usr/bin/setpriv", become_root, failed);
  if (failed || geteuid() != 0) GTEST_SKIP() << "takes the superuser and a program to become him";
  chmod(become_root.c_str(), 04755);
  for (const std::string& folder : {scratch / "", scratch.Temp()}) {
    chmod(folder.c_str(), 0777);
  }
  EXPECT_TRUE(HoldsForPlainUser([&] {
    const std::string command = become_root + " --reuid=0 --regid=0 --clear-groups sleep 2";
    EXPECT_EQ(Quiet(command, 500).error, "cannot terminate process");
    EXPECT_FALSE(HasNoChild());
    sleep(2);
    EXPECT_TRUE(Quiet("true").done);
    EXPECT_TRUE(HasNoChild());
  }));
}

// The reason's file has a name that can be foreseen. Others take process numbers meanwhile, so the
// links are planted again until a child meets one.
TEST(ProcessRunner, WritesTheReasonThroughNoPlantedLink) {
  const Scratch scratch;
  WriteFile(scratch / "victim", "precious");
  bool met = false;
  while (!met) {
    const pid_t probe = fork();
    if (probe == 0) _exit(0);
    waitpid(probe, nullptr, 0);
    constexpr size_t kLinks = 100;
    for (size_t i = 1; i <= kLinks; ++i) {
      const std::string name = "/tmpSzem-" + std::to_string(probe + static_cast<pid_t>(i)) + ".txt";
      std::filesystem::create_symlink(scratch / "victim", scratch.Temp() + name);
    }
    EXPECT_EQ(Quiet("/no/such/program").error, kMissing);
    met = scratch.LeftInTemp().size() < kLinks;
    for (const std::string& left : scratch.LeftInTemp()) {
      unlink((scratch.Temp() + "/" + left).c_str());
    }
  }
  EXPECT_EQ(ReadFile(scratch / "victim"), "precious");
}

TEST(ProcessRunner, BelievesTheReasonInAFileOfItsOwnUserAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "takes the superuser to give a file away";
  const Scratch scratch;
  const std::string plant = "reason=$TMPDIR/tmpSzem-$$.txt; echo forged >$reason";
  EXPECT_EQ(Quiet(Shell(plant + "; exit 255")).error, "forged");
  EXPECT_EQ(Quiet(Shell(plant + "; chown 65534 $reason; exit 255")).exit_code, 255);
}

TEST(ProcessRunner, OpensNoStreamThroughALink) {
  const Scratch scratch;
  WriteFile(scratch / "victim", "precious");
  const std::string link = scratch / "link";
  std::filesystem::create_symlink(scratch / "victim", link);
  int32_t exit_code = -1;
  OvString error;
  EXPECT_TRUE(
      RunProcess({.command_line = "echo text", .output_file = link.c_str()}, &exit_code, &error));
  EXPECT_EQ(ReadFile(scratch / "victim"), "precious");
}

}  // namespace
}  // namespace zem
