// SPDX-License-Identifier: BSD-2-Clause
// The file checks over the wire: requests, and the replies to the letter.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <string>
#include <vector>

#include "e2e/agent_process.h"
#include "spelled.h"

namespace zem::test {
namespace {

class FileChecks : public ::testing::Test {
 protected:
  struct Case {
    std::string request;  // lines between "|"; "~" is the test's folder
    std::string reply;    // the same
  };

  FileChecks() {
    for (const char* folder : {"tree", "tree/sub", "tree/.hidden"}) {
      mkdir((files_ / folder).c_str(), 0755);
    }
    WriteFile(files_ / "tree/one.log", "the cat sat on a mat\n");
    WriteFile(files_ / "tree/two.txt", "cat");
    WriteFile(files_ / "tree/sub/three.log", "the cat sat on a mat\nand stayed\n");
    WriteFile(files_ / "tree/sub/empty", "");
    WriteFile(files_ / "tree/.hidden/four.log", "12345");
    WriteFile(files_ / "tree/block", std::string(20480, 'b'));
    mkfifo((files_ / "tree/pipe").c_str(), 0644);
    (void)!symlink("one.log", (files_ / "tree/link").c_str());
    SetTime("tree/one.log", 1'000'000'000);
    SetTime("tree/two.txt", 1'100'000'000);
    SetTime("tree/block", 1'050'000'000);
    SetTime("tree/pipe", 1'050'000'000);
    SetTime("tree/sub", 1'200'000'000);
    SetTime("tree/.hidden", 1'300'000'000);
  }

  void SetTime(const std::string& name, time_t seconds) {
    const timespec times[] = {{.tv_sec = seconds, .tv_nsec = 0}, {.tv_sec = seconds, .tv_nsec = 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, (files_ / name).c_str(), times, 0), 0);
  }

  std::string Spelled(const std::string& text) const { return zem::Spelled(text, files_.Path()); }

  std::string Reply(const std::string& request) const {
    return agent_.Ask(Spelled(request)).value_or("no reply");
  }

  void ExpectReplies(const std::string& command, const std::vector<Case>& cases) const {
    for (const Case& c : cases) {
      EXPECT_EQ(Reply(command + "|" + c.request), Spelled(c.reply)) << command << " " << c.request;
    }
  }

  TempDir files_;
  AgentProcess agent_;
};

std::string Stamp(time_t moment) {
  struct tm fields;
  localtime_r(&moment, &fields);
  char text[20];
  (void)strftime(text, sizeof(text), "%d%m%Y%H%M%S", &fields);
  return text;
}

TEST_F(FileChecks, DiskSpace) {
  ExpectReplies("TEST-UNC", {{"", "501|Path not specified|"},
                             {"\\|", "501|Path not specified|"},
                             {"~/nowhere|", "301|No such file or directory|"}});
  const std::vector<std::string> lines = Lines(Reply("TEST-UNC|~\\|"));
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0], "200");
  EXPECT_GE(std::stod(lines[1]), std::stod(lines[2]));
}

TEST_F(FileChecks, FolderSize) {
  ExpectReplies(
      "TEST-FolderSize",
      {{"~/tree|", "200| 20504|"},
       {"~/tree|1|", "200| 20541|"},
       {"~/tree/*.log|1", "200|    58|"},
       {"~/%newestfolder%/nothing||||||||", "301|Folder/File doesn`t exist or access denied|"},
       {"~/tree/%oldestfolder%/*.log|||||||1|", "200|    32|"},
       {"~/tree/pipe|", "200|     0|"},
       {"~/nowhere/*|1|", "301|Folder/File doesn`t exist or access denied|"}});
}

TEST_F(FileChecks, CountFiles) {
  ExpectReplies("TEST-CountFiles",
                {{"~/tree|*||0|", "200|4|"},
                 {"~/tree|*|1|AllFiles|", "200|6|"},
                 {"~/tree|*|1|5|", "200|2|"},
                 {"~/tree|*.log|1|1|10|", "200|1|"},
                 {"~/tree|*|1|2|10|", "200|2|"},
                 {"~/tree|*||3|21|", "200|1|"},
                 {"~/tree|*|1|4|3|", "200|2|"},
                 {"~/tree|nothing|1|", "200|0|"},
                 {"~/%newestfolder%|*|||||||||1|", "200|4|"},
                 {"~/tree|*||6|", "501|Wrong parameter|"},
                 {"~/tree|*||0|ten|", "501|Wrong parameter|"},
                 {"~/nowhere|*|", "301|Folder doesn`t exist or access denied|"}});
}

TEST_F(FileChecks, FileExists) {
  struct stat info;
  ASSERT_EQ(stat((files_ / "tree/one.log").c_str(), &info), 0);
  const std::string changed = Stamp(info.st_ctime);
  const std::string age = std::to_string((time(nullptr) - 1'000'000'000) / 60);
  const std::string found =
      "200|    21|" + changed + "|" + Stamp(1'000'000'000) + "|~/tree/one.log|min|" + age + "|";
  ExpectReplies("TEST-FileExists",
                {{"~/tree/one.log|", found},
                 {"~/tree/*.log|", found},
                 {"~/tree/%OLDESTFILE%|||||||", "301|no such file or acess denied|"},
                 {"~/tree/%OLDESTFILE%||||||1|", found},
                 {"~/nowhere|", "301|no such file or acess denied|"}});
  EXPECT_EQ(Lines(Reply("TEST-FileExists|~/tree/link|"))[1], "     7");
}

TEST_F(FileChecks, FileHash) {
  ExpectReplies("TEST-FileHash",
                {{"~/tree/two.txt|0|", "200|1637989463|"},
                 {"~/tree/two.txt|1|", "200|d077f244def8a70e5ea758bd8352fcd8|"},
                 {"~/tree/two.txt|2|0|",
                  "200|77af778b51abd4a3c51c5ddd97204a9c3ae614ebccb75a606c3b6865aed6744e|"},
                 {"~/tree/two.txt|3||",
                  "200|4241b986a49591d445ebb840bc4b49c12b10b392b49222bc45dfd8b871cb3d0e"
                  "742cdba152aa782e253026c7fc93fe8287b95c5fd0e22467e99c89501a502cd4|"},
                 {"~/tree/one.log|1|20|", "200|File size 0 MB|"},
                 {"~/tree/block|1|", "301|Read error|"},
                 {"~/tree/sub/empty|3|", "301|Read error|"},
                 {"~/tree/two.txt|4|", "301|"},
                 {"~/tree/pipe|1|", "301|File doesn`t exist|"},
                 {"~/tree|1|", "301|File doesn`t exist|"}});
}

TEST_F(FileChecks, FileCompare) {
  WriteFile(files_ / "large", "");
  ASSERT_EQ(truncate((files_ / "large").c_str(), 8'388'609), 0);
  ExpectReplies(
      "TEST-FileCompare",
      {{"1|~/tree/one.log|~/tree/sub/three.log|||1|", "200|1|"},
       {"1|~/tree/one.log|~/tree/sub/three.log||1|1|", "200|0|"},
       {"1|~/tree/one.log|~/tree/two.txt|||1|", "200|0|"},
       {"1|~/tree/one.log|~/tree/pipe|", "301|File doesn`t exist|"},
       {"1|~/nowhere|~/tree/one.log|", "301|File doesn`t exist|"},
       {"1|~/tree/%oldestfile%|~/tree/one.log|1|1|1||||||1|0|", "200|1|"},
       {"1|~/tree/one.log|~/tree/%newestfile%|1||||||||0|1|", "200|0|"},
       {"2|~/tree/one.log|~/tree/two.txt|", "200|1|"},
       {"2|~/tree/two.txt|~/tree/one.log|", "200|0|"},
       {"2|~/tree/two.txt|~/tree/sub/empty|", "200|1|"},
       {"2|~/tree/one.log|~/large|", "301|The size of the second file cannot exceed 8Mb|"},
       {"2|~/tree/one.log|~/nowhere|", "301|File doesn`t exist|"},
       {"2|~/tree/%oldestfile%|~/tree/two.txt||||||1|", "200|1|"},
       // Deliberate: in this mode the second name's macros are never resolved.
       {"2|~/tree/one.log|~/tree/%newestfile%|||||||1|", "301|File doesn`t exist|"},
       {"3|~/tree/one.log|CAT|", "200|1|"},
       {"3|~/tree/one.log|CAT|1|", "200|0|"},
       {"3|~/tree/one.log|at||1|", "200|0|"},
       // Deliberate: at a multiple of two text lengths one free side is enough.
       {"3|~/tree/one.log|ca||1|", "200|1|"},
       {"3|~/tree/%oldestfile%|mat||||||||1|", "200|1|"},
       {"3|~/tree/one.log||", "301|I/O Error|"},
       {"4|~/tree/one.log|", "501|Wrong parameter|"},
       {"5|~/tree/one.log|", "501|Wrong parameter|"},
       {"4|~/nowhere|", "301|File doesn`t exist|"}});
}

TEST_F(FileChecks, FileList) {
  ExpectReplies("GetFilesList", {{"~/tree|*.log||1|||1||1|",
                                  "200|~/tree/|1|4|one.log|0|    21|" + Stamp(1'000'000'000) + "|"},
                                 {"~/tree/sub|e*|1|1|", "200|~/tree/sub/|2|2|..|16|empty|0|"},
                                 {"~/tree|p*||1||1|", "200|~/tree/|1|2|pipe|4|"},
                                 {"~/tree|p*||1||0|", "200|~/tree/|0|2|"},
                                 {"~/tree/one*||0|0|||1|1|1|", "200|~/tree/|0|5|"},
                                 {"~/nowhere/||1|1|", "200|~/nowhere/|0|2|"},
                                 {"", "200|/|0|2|"}});
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
  const std::vector<std::string> lines = Lines(Reply("GetFilesList|~/many||0|1||||||"));
  ASSERT_EQ(lines.size(), 4U + 2 * kMany);
  EXPECT_EQ(lines[2], std::to_string(kMany));
}

}  // namespace
}  // namespace zem::test
