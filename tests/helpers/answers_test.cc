// SPDX-License-Identifier: BSD-2-Clause
// The answers from a made-up process table, which shows what cannot be had at will, and the
// programs as the agent calls them, among processes that try to write a table of their own.
#include "helpers/answers.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "e2e/agent_process.h"
#include "temp_dir.h"

namespace zem::test {
namespace {

using namespace std::string_literals;

class MadeUpTable : public testing::Test {
 protected:
  void SetUp() override {
#ifndef __linux__
    GTEST_SKIP() << "no process file system here";
#endif
    Add(1, "S 0", 1, "init", "/sbin/init\0"s);
    Add(2, "S 0", 1, "kthreadd", "");
  }

  // `state` is the state and the parent.
  void Add(pid_t pid, const std::string& state, int threads, const std::string& name,
           const std::string& arguments) {
    const std::string folder = dir_ / std::to_string(pid);
    mkdir(folder.c_str(), 0755);
    WriteFile(folder + "/stat", std::to_string(pid) + " (" + name + ") " + state +
                                    " 1 1 0 -1 4194560 10 20 0 0 1 2 3 4 20 0 " +
                                    std::to_string(threads) + " 0 41754624 30\n");
    WriteFile(folder + "/cmdline", arguments);
  }
  std::string Count(const std::string& name) {
    return CountAnswer(dir_.Path(), "zem-proccount", name);
  }
  std::string List() {
    return ListAnswer(dir_.Path(), "zem-proccount");
  }

  TempDir dir_;
};

TEST_F(MadeUpTable, NamesAndWhatRuns) {
  // Kernel threads: the work of the moment left out, a name of 15 bytes whole.
  Add(9000013, "I 2", 1, "kworker/0:1H-events_highpri", "");
  Add(9000014, "I 2", 1, "kworker/R-rcu_gp", "");
  Add(9000015, "S 2", 1, "kthread-15-long", "");
  // Titles; the second one grew over the end of its room.
  Add(9000020, "S 1", 1, "nginx", "nginx: master process /usr/sbin/nginx\0\0\0\0"s);
  Add(9000021, "S 1", 1, "nginx", "nginx: worker 5");
  Add(9000022, "R 1", 1, "a-long-name-of-", "a-long-name-of-a-daemon: at /var/run/x.sock\0"s);
  Add(9000023, "S 1", 1, "unattended-upgr",
      "/usr/bin/python3\0\0\0/usr/share/unattended-upgrade-x\0--w\0"s);
  Add(9000024, "S 1", 1, "wiped-arguments", "");
  Add(9000025, "S 1", 1, "              n", "x\0"s);
  // What runs: not a zombie, but a program whose first thread ended.
  Add(9000030, "Z 1", 1, "gone", "");
  Add(9000031, "Z 1", 4, "half-gone", "");
  Add(9000032, "X 1", 1, "gone", "");
  mkdir((dir_ / "9000033").c_str(), 0755);  // ended while it was read
  // Text that looks like a record, in arguments and in names.
  Add(9000040, "S 1", 1, "sh", "sh\0-c\0echo\n9000041 (ghost) S 1 1 1 0 -1 4 5 6 7 8\n\0"s);
  Add(9000042, "S 1", 1, "a) R 1 (b", "x\0"s);
  Add(9000043, "S 1", 1, "two\nlines", "two\0lines and more\0"s);
  Add(9000044, "S 1", 1, "gr\303\266\303\237e\033", "x\0"s);
  // Other requests at work: the shell, the program, one that has no arguments yet. An editor is
  // none.
  Add(9000050, "S 1", 1, "sh", "sh\0-c\0/x/zem-proccount ghost 1 1>f 2>f 3>f\0"s);
  Add(9000051, "R 1", 1, "zem-proclist", "");
  Add(9000052, "R 1", 1, "vi", "vi\0/x/zem-proccount\0"s);
  // Who called this process, and who called that without knowing.
  Add(getppid(), "S 9000060", 1, "sudo", "sudo\0/x/zem-proccount\0ghost\0"s);
  Add(9000060, "S 9000061", 1, "env", "env\0/x/zem-proccount\0ghost\0"s);
  Add(9000061, "S 1", 1, "login", "login\0"s);

  const auto expect = [&](const char* count, const std::vector<std::string>& names) {
    for (const std::string& name : names) EXPECT_EQ(Count(name), count) << name;
  };
  expect("2\n", {"nginx"});
  expect("1\n",
         {"nginx: worker 5", "  nginx:\tworker  5 ", "a-long-name-of-a-daemon", "login", "vi",
          "unattended-upgrade-x", "wiped-arguments", "wiped-arguments-of-a-daemon", "[kthreadd]",
          "kworker/0:1H", "kworker/0:1H-events_highpri", "kworker/R-rcu_gp", "half-gone",
          "a) R 1 (b", "two lines", "two lines and more", "sh -c echo 9000041 (ghost)"});
  expect("0\n", {"nginx:", "a-long-name-of-", "a-long-name-of-another", "wiped", "lines", "x",
                 "gone", "kthread-15-long-tail", "kworker/0:1", "ghost", "ghost 1", "sudo", "env",
                 "zem-proclist"});
  EXPECT_EQ(Count(" \t"), "");
  EXPECT_EQ(List(),
            "a) R 1 (b\na-long-name-of-a-daemon\ngr\303\266\303\237e?\nhalf-gone\ninit\n"
            "kthread-15-long\nkthreadd\nkworker/0:1H\nkworker/R-rcu_gp\nlogin\nn\nnginx\nsh\n"
            "two lines\nunattended-upgrade-x\nvi\nwiped-arguments");
}

TEST_F(MadeUpTable, NoAnswerWhereProcessesAreHiddenOrCannotBeRead) {
  Add(9000020, "S 1", 1, "nginx", "nginx\0"s);
  std::filesystem::rename(dir_ / "1", dir_ / "hidden");
  EXPECT_EQ(Count("nginx") + List(), "");
  std::filesystem::rename(dir_ / "hidden", dir_ / "1");
  EXPECT_EQ(Count("nginx"), "1\n");
  WriteFile(dir_ / "9000020/stat", "");
  EXPECT_EQ(Count("init") + List(), "");
  // A process stuck in the kernel: whoever waits for it is ended.
  unlink((dir_ / "9000020/stat").c_str());
  mkfifo((dir_ / "9000020/stat").c_str(), 0600);
  EXPECT_EXIT(Count("init"), testing::KilledBySignal(SIGALRM), "");
}

TEST_F(MadeUpTable, UsageOfTheProcessors) {
  const auto ticks = [&](const std::string& line) {
    WriteFile(dir_ / "stat", line + "\ncpu0 9 9 9 9\n");
    return ReadCpuTicks(dir_.Path());
  };
  // user nice system idle iowait irq softirq steal guest guest_nice
  const std::vector<std::vector<std::string>> rows = {
      {"12.5\n", "cpu  10 0 0 100 0 0 0 0 0 0", "cpu  20 5 5 240 35 5 0 0 0 0"},
      {"75.0\n", "cpu  0 0 0 0 0 0 0 0 0 0", "cpu  10 10 10 15 10 10 15 20 0 0"},
      {"0.1\n", "cpu  0 0 0 0 0 0 0 0", "cpu  1 0 0 1999 0 0 0 0"},
      {"50.0\n", "cpu  0 0 0 0 0 0 0 0 0 0", "cpu  50 0 0 50 0 0 0 0 50 0"},  // user has the guests
      {"20.0\n", "cpu  0 0 0 0", "cpu  10 5 5 80"},                           // an old kernel
      {"100.0\n", "cpu  0 0 0 100 50 0 0 0", "cpu  100 0 0 100 40 0 0 0"},    // a step back
      {"0.0\n", "cpu  90 0 0 100 0 0 0 0", "cpu  80 0 0 200 0 0 0 0"},
      {"33.3\n", "cpu  6000000000 0 0 9000000000000", "cpu  6000000001 0 0 9000000000002"},
      {"", "cpu  1 2 3 4", "cpu  1 2 3 4"}};
  for (const auto& row : rows) EXPECT_EQ(UsageAnswer(*ticks(row[1]), *ticks(row[2])), row[0]);
  EXPECT_FALSE(ticks("intr 1 2 3 4") || ticks("cpu  1 x 3 4") || ticks(""));
}

// What the agent runs through the shell, with all three descriptors on one file.
std::string Ask(const TempDir& dir, const std::string& words) {
  const std::string file = " 1>" + (dir / "f") + " 2>" + (dir / "f") + " 3>" + (dir / "f");
  EXPECT_EQ(system((HelpersPath() + "/" + words + file + "; :").c_str()), 0);
  return ReadFile(dir / "f");
}

TEST(Programs, NoProcessWritesIntoAnothersRecord) {
  const TempDir dir;
  const std::string name = "zt" + std::to_string(getpid());
  std::filesystem::copy_file("/bin/sleep", dir / name);
  const std::string separator = ReadFile("/proc/version");
  const std::string fields = " S 1 1 1 0 -1 4 5 6 7 8 9 10 11 12 13 14 20 0 1 0 5 6\n";
  const std::string fake = separator + "9000001 (ghost" + name + ")" + fields + separator;
  std::vector<pid_t> children;
  const auto start = [&](const std::string& program, std::vector<std::string> words) {
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    children.push_back(fork());
    if (children.back() == 0) _exit(execv(program.c_str(), pointers.data()));
  };
  start(dir / name, {"title-" + name, "60"});
  for (const std::string& argument :
       {separator, fake, fake + "ghost" + name, separator + "end 1", "\n\n" + fake + "\nend 9",
        std::string(20000, 'x') + fake + std::string(20000, '\n')}) {
    start("/bin/sh", {"sh", "-c", "kill -STOP $$", argument, argument});
  }
  start("/bin/sh", {fake, "-c", "kill -STOP $$"});
  usleep(300000);
  EXPECT_EQ(Ask(dir, "zem-proccount " + name), "1\n");
  EXPECT_EQ(Ask(dir, "zem-proccount ghost" + name), "0\n");
  EXPECT_EQ(Ask(dir, "zem-proccount /no/such/" + name), "0\n");       // nor its caller's record
  EXPECT_EQ(Ask(dir, "zem-proccount title-" + name + " 60"), "1\n");  // all its words
  EXPECT_EQ(Ask(dir, "zem-proccount"), "");
  const std::string list = "\n" + Ask(dir, "zem-proclist") + "\n";
  EXPECT_NE(list.find("\n" + name + "\n"), std::string::npos);
  EXPECT_EQ(list.find("ghost"), std::string::npos);
  EXPECT_EQ(list.find("\n\n"), std::string::npos);
  const std::string usage = Ask(dir, "zem-cpuusage");
  EXPECT_EQ(usage.find_first_not_of("0123456789"), usage.size() - 3) << usage;
  for (const pid_t child : children) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

}  // namespace
}  // namespace zem::test
