// SPDX-License-Identifier: BSD-2-Clause
// The file checks over the wire: each is reached, each has its switch, and long replies arrive.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "e2e/agent_process.h"
#include "spelled.h"

namespace zem::test {
namespace {

class FileChecks : public ::testing::Test {
 protected:
  std::string Spelled(const std::string& text) const { return zem::Spelled(text, files_.Path()); }

  TempDir files_;
};

// What each replies to what is tested beside its handler; here that its command reaches it.
TEST_F(FileChecks, EachIsServed) {
  struct Case {
    const char* request;  // lines between "|"; "~" is the test's folder
    const char* reply;    // the same
  };
  const Case cases[] = {
      {"TEST-UNC|~/nowhere|", "301|No such file or directory|"},
      {"TEST-FolderSize|~/|1|", "200|    24|"},
      {"TEST-FolderSize|~/nowhere/*|1|", "301|Folder/File doesn`t exist or access denied|"},
      {"TEST-CountFiles|~|*.log||0|", "200|1|"},
      {"TEST-CountFiles|~|*||0|ten|", "501|Wrong parameter|"},
      {"TEST-FileExists|~/nowhere|", "301|no such file or acess denied|"},
      {"TEST-FileHash|~/two.txt|1|", "200|d077f244def8a70e5ea758bd8352fcd8|"},
      {"TEST-FileHash|~/two.txt|4|", "301|"},
      {"TEST-FileCompare|3|~/one.log|CAT|", "200|1|"},
      {"TEST-FileCompare|4|~/nowhere|", "301|File doesn`t exist|"},
      {"TEST-FileCompare|2|~/two.txt|~/one.log|", "200|0|"},
      {"GetFilesList|~|t*||1|", "200|~/|1|2|two.txt|0|"},
  };
  WriteFile(files_ / "one.log", "the cat sat on a mat\n");
  WriteFile(files_ / "two.txt", "cat");
  const AgentProcess agent;
  for (const Case& c : cases) {
    EXPECT_EQ(agent.Ask(Spelled(c.request)).value_or("no reply"), Spelled(c.reply)) << c.request;
  }
  const std::vector<std::string> space = Lines(agent.Ask(Spelled("TEST-UNC|~\\|")).value_or(""));
  ASSERT_EQ(space.size(), 5U);
  EXPECT_EQ(space[0], "200");
  EXPECT_GE(std::stod(space[1]), std::stod(space[2]));
  const std::vector<std::string> found =
      Lines(agent.Ask(Spelled("TEST-FileExists|~/one.log|")).value_or(""));
  ASSERT_EQ(found.size(), 7U);
  EXPECT_EQ(found[1] + found[4], Spelled("    21~/one.log"));
}

TEST_F(FileChecks, EachHasASwitch) {
  struct Switch {
    const char* key;
    const char* command;
  };
  const Switch switches[] = {{"unc", "TEST-UNC"},
                             {"foldersize", "TEST-FolderSize"},
                             {"countfiles", "TEST-CountFiles"},
                             {"fileexists", "TEST-FileExists"},
                             {"filecrc", "TEST-FileHash"},
                             {"comparefiles", "TEST-FileCompare"}};
  std::string config = "textlog=0\n";
  for (const Switch& s : switches) config += std::string(s.key) + "=0\n";
  const std::string refused = "600\ntest is not allowed\n";
  const AgentProcess closed(AgentProcess::Options{.config = config});
  for (const Switch& s : switches) {
    EXPECT_EQ(closed.Ask(std::string(s.command) + "\n/\n"), refused) << s.command;
  }
  EXPECT_EQ(closed.Ask("GetFilesList\n/\n"), refused);
  // One open test among those on files opens the list; disk space is none of them.
  for (const char* key :
       {"foldersize", "countfiles", "fileexists", "filecrc", "comparefiles", "textlog", "unc"}) {
    const AgentProcess open(AgentProcess::Options{.config = config + key + "=1\n"});
    const bool opens = std::string(key) != "unc";
    EXPECT_EQ(open.Ask("GetFilesList\n/\n"), opens ? "200\n/\n0\n2\n" : refused) << key;
  }
}

// A listing of many entries is one reply, whole.
TEST_F(FileChecks, LongListsArriveWhole) {
  mkdir((files_ / "many").c_str(), 0755);
  constexpr int kMany = 20'000;
  for (int i = 0; i < kMany; ++i) {
    const int file =
        open((files_ / ("many/" + std::to_string(i))).c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(file, 0);
    close(file);
  }
  const std::vector<std::string> lines =
      Lines(AgentProcess().Ask(Spelled("GetFilesList|~/many||0|1||||||")).value_or(""));
  ASSERT_EQ(lines.size(), 4U + 2 * kMany);
  EXPECT_EQ(lines[2], std::to_string(kMany));
}

}  // namespace
}  // namespace zem::test
