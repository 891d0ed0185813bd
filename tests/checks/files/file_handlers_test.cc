// SPDX-License-Identifier: BSD-2-Clause
// Requests and their replies, letter for letter, handler by handler.
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <limits>
#include <vector>

#include "checks/files/count_files.h"
#include "checks/files/disk_space.h"
#include "checks/files/file_compare.h"
#include "checks/files/file_exists.h"
#include "checks/files/file_hash.h"
#include "checks/files/file_list.h"
#include "checks/files/folder_size.h"
#include "plain_user.h"
#include "spelled.h"
#include "temp_dir.h"

namespace zem {
namespace {

using Handler = void (*)(const AgentRequest&, const RequestContext&, AgentReply*);

class FileHandlers : public ::testing::Test {
 protected:
  struct Case {
    std::string request;  // lines between "|"; "~" is the test's folder
    std::string reply;    // the same
  };

  std::string Spelled(const std::string& text) const { return zem::Spelled(text, top_.Path()); }

  std::string Reply(Handler handler, const std::string& request) const {
    const Settings settings;
    const RequestContext context = {.settings = settings, .session_key = {}};
    AgentReply reply;
    handler(AgentRequest(Spelled(request) + "\n\r"), context, &reply);
    return std::string(reply.Text().View());
  }

  void ExpectReplies(Handler handler, const std::vector<Case>& cases) const {
    for (const Case& c : cases) EXPECT_EQ(Reply(handler, c.request), Spelled(c.reply)) << c.request;
  }

  TempDir top_;
};

constexpr const char* kLongName =
    "/xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx";

std::string OverlongPath() {
  std::string path;
  while (path.size() < 5000) path += kLongName;
  return path;
}

TEST_F(FileHandlers, DiskSpace) {
  WriteFile(top_ / "file", "");
  ExpectReplies(CheckDiskSpace, {{"", "501|Path not specified"},
                                 {"\\", "501|Path not specified"},
                                 {"\\\\", "301|No such file or directory|"},
                                 {"~/missing", "301|No such file or directory|"},
                                 {std::string("/\0x", 3), "301|No such file or directory|"},
                                 {OverlongPath(), "301|File name too long|"}});
  for (const char* path : {"~", "~\\", "~/file", " ~/ "}) {
    const std::string reply = Reply(CheckDiskSpace, path);
    double sizes[3] = {-1, -1, -1};
    int milliseconds = -1;
    ASSERT_EQ(sscanf(reply.c_str(), "200\n%lf\n%lf\n%lf\n%d\n", &sizes[0], &sizes[1], &sizes[2],
                     &milliseconds),
              4)
        << reply;
    EXPECT_GT(sizes[0], 0);
    EXPECT_LE(sizes[1], sizes[0]);
    EXPECT_LE(sizes[2], sizes[1]);
    EXPECT_EQ(std::count(reply.begin(), reply.end(), '\n'), 5);
  }
}

TEST_F(FileHandlers, FolderSize) {
  for (const char* folder : {"f", "f/s", "empty"}) mkdir((top_ / folder).c_str(), 0755);
  WriteFile(top_ / "f/a.log", "12345");
  WriteFile(top_ / "f/.b.log", "12");
  WriteFile(top_ / "f/s/c.log", std::string(1'000'000, 'x'));
  WriteFile(top_ / "f/c.txt", "1");
  SetTimes(top_ / "f", 1000);
  const std::string failed = "301|Folder/File doesn`t exist or access denied";
  ExpectReplies(CheckFolderSize, {{"~/f", "200|     8|"},
                                  {"~/f/", "200|     8|"},
                                  {"~/f|1", "200|1000008|"},
                                  {"~/f/*.log|1", "200|1000007|"},
                                  {"~/f/*.log|yes", "200|     7|"},
                                  {"~/f/c.txt|0", "200|     1|"},
                                  {"~/f/none", "200|     0|"},
                                  {"~/empty", "200|     0|"},
                                  {"~/empty|1", "200|     0|"},
                                  {"~/%newestfolder%|||||||1", "200|     0|"},
                                  {"~/missing/*", failed},
                                  {"~/f/c.txt/*", failed},
                                  {OverlongPath(), failed},
                                  {"~/f" + std::string("\0", 1) + "x", failed}});
}

TEST_F(FileHandlers, FolderSizeBeyondWholeNumbers) {
  // File systems in memory take files of any size.
  const TempDir memory("/dev/shm");
  WriteFile(memory / "large", "");
  if (truncate((memory / "large").c_str(), (1LL << 53) + 1) != 0) {
    GTEST_SKIP() << "the file system takes no file of that size";
  }
  EXPECT_EQ(Reply(CheckFolderSize, memory.Path()), "200\n9007199254740992\n");
}

TEST_F(FileHandlers, CountFiles) {
  for (const char* folder : {"s", "s/t", ".hidden"}) mkdir((top_ / folder).c_str(), 0755);
  for (const char* file : {"a.log", "b.log", ".c.log", "s/d.log", ".hidden/e.log"}) {
    WriteFile(top_ / file, "12345");
  }
  const time_t now = time(nullptr);
  SetTimes(top_ / "a.log", now - 600);
  SetTimes(top_ / "b.log", now + 600);
  SetTimes(top_ / "s", 1000);
  const std::string wrong = "501|Wrong parameter";
  const std::string failed = "301|Folder doesn`t exist or access denied";
  ExpectReplies(CheckCountFiles, {{"~|*", "200|3|"},
                                  {"~|*|0|0|", "200|3|"},
                                  {"~/|*.log|1|AllFiles", "200|4|"},
                                  {"~|*||1|5", "200|1|"},
                                  {"~|*||2|5", "200|2|"},
                                  {"~|*||1|-5", "200|2|"},
                                  {"~|b.log||2|-5", "200|1|"},
                                  {"~|*|1|3|4", "200|4|"},
                                  {"~|*|1|3|5", "200|0|"},
                                  {"~|*|1|4|5", "200|0|"},
                                  {"~|*|1|4|6-1", "200|4|"},
                                  {"~|*||5", "200|2|"},
                                  {"~|*|1|5", "200|3|"},
                                  {"~|s|1|5", "200|1|"},
                                  {"~|nothing", "200|0|"},
                                  {"~|", "200|0|"},
                                  {"~|*||6", wrong},
                                  {"~|*||-1", wrong},
                                  {"~|*||0|1.5", wrong},
                                  {"~/missing|*||9", wrong},
                                  {"~/missing|*", failed},
                                  {"~/missing|*|1", failed},
                                  {"~/a.log|*", failed},
                                  {OverlongPath() + "|*", failed},
                                  {"~/%oldestfolder%|*|||||||||1", "200|1|"},
                                  {"~/%oldestfolder%/none|*|||||||||1", failed}});
  // Beyond 32 bits the difference wraps; it must not trap.
  EXPECT_EQ(Reply(CheckCountFiles, "~|a.log||1|-99999999999"), "200\n0\n");
}

// Without a writable entry the second search of a walk with sub-folders finds nothing.
TEST_F(FileHandlers, CountFilesWhereNothingMayBeWritten) {
  const std::string folder = top_ / "sealed";
  mkdir(folder.c_str(), 0755);
  WriteFile(folder + "/readonly", "");
  WriteFile(folder + "/.hidden", "");
  chmod((folder + "/.hidden").c_str(), 0666);
  chmod((folder + "/readonly").c_str(), 0444);
  chmod(folder.c_str(), 0555);
  const std::string failed = "301\nFolder doesn`t exist or access denied";
  EXPECT_TRUE(HoldsForPlainUser([&] {
    EXPECT_EQ(Reply(CheckCountFiles, "~/sealed|*"), "200\n2\n");
    if (geteuid() != 65534) return;  // its own folder above is writable
    EXPECT_EQ(Reply(CheckCountFiles, "~/sealed|*|1"), failed);
    EXPECT_EQ(Reply(CheckCountFiles, "~/sealed|none"), failed);
  }));
  chmod((folder + "/readonly").c_str(), 0666);
  EXPECT_TRUE(HoldsForPlainUser([&] {
    EXPECT_EQ(Reply(CheckCountFiles, "~/sealed|*|1"), "200\n2\n");
    EXPECT_EQ(Reply(CheckCountFiles, "~/sealed|none"), "200\n0\n");
  }));
}

std::string Stamp(time_t moment) {
  struct tm fields;
  localtime_r(&moment, &fields);
  char text[20];
  (void)strftime(text, sizeof(text), "%d%m%Y%H%M%S", &fields);
  return text;
}

TEST_F(FileHandlers, FileExists) {
  const std::string folder = top_ / "f";
  mkdir(folder.c_str(), 0755);
  WriteFile(folder + "/a file", "12345");
  WriteFile(folder + "/new", "12345678");
  const time_t now = time(nullptr);
  SetTimes(folder + "/a file", now - 3601);
  SetTimes(folder + "/new", now + 3659);
  struct stat info;
  stat((folder + "/a file").c_str(), &info);
  const std::string changed = Stamp(info.st_ctime);
  const std::string old = "200|     5|" + changed + "|" + Stamp(now - 3601) + "|~/f/a file|min|60|";
  const std::string fresh = "200|     8|" + changed + "|" + Stamp(now + 3659) + "|~/f/new|min|-60|";
  const std::string missing = "301|no such file or acess denied";
  ExpectReplies(CheckFileExists, {{"~/f/a file", old},
                                  {"~/f/a*", old},
                                  {"~/f/%OldestFile%||||||1", old},
                                  {"~/f/n?w", fresh},
                                  {"~/f/%newestfile%||||||0", missing},
                                  {"~/f/x*", missing},
                                  {"", missing},
                                  {OverlongPath(), missing},
                                  {"~/f/new" + std::string("\0", 1) + "x", missing}});
  EXPECT_EQ(Reply(CheckFileExists, "~/f").substr(0, 4), "200\n");
}

// The age of such a file does not fit; it must not trap.
TEST_F(FileHandlers, FileExistsBeforeAllTime) {
  const TempDir memory("/dev/shm");
  constexpr time_t kFirst = std::numeric_limits<time_t>::min();
  WriteFile(memory / "old", "12345");
  SetTimes(memory / "old", kFirst);
  struct stat info;
  ASSERT_EQ(stat((memory / "old").c_str(), &info), 0);
  if (info.st_mtime != kFirst) GTEST_SKIP() << "the file system keeps no such time";
  const std::string reply = Reply(CheckFileExists, memory / "old");
  EXPECT_EQ(reply.substr(0, 11), "200\n     5\n");
  EXPECT_EQ(std::count(reply.begin(), reply.end(), '\n'), 7);
}

TEST_F(FileHandlers, FileHash) {
  WriteFile(top_ / "digits", "123456789");
  WriteFile(top_ / "empty", "");
  WriteFile(top_ / "three", "");
  ASSERT_EQ(truncate((top_ / "three").c_str(), 3'000'000), 0);
  mkfifo((top_ / "pipe").c_str(), 0666);
  ASSERT_EQ(symlink("digits", (top_ / "link").c_str()), 0);
  const std::string missing = "301|File doesn`t exist";
  const std::string md5 = "200|25f9e794323b453885f5181f1b624d0b|";
  ExpectReplies(CheckFileHash, {{"~/digits|0", "200|873187033|"},
                                {"~/digits|word", "200|873187033|"},
                                {"~/digits|1", md5},
                                {"~/link|1", md5},
                                {"~/digits|1|9", md5},
                                {"~/digits|1|-1", md5},
                                {"~/digits|1|8.5", "200|File size 0 MB|"},
                                {"~/three|1|1000000", "200|File size 2 MB|"},
                                {"~/three|7|1e6", "200|File size 2 MB|"},
                                {"~/digits|4", "301|"},
                                {"~/digits|-1", "301|"},
                                {"~/empty|2", "301|Read error"},
                                {"~/empty|9", "301|"},
                                {"~|1", missing},
                                {"~/pipe|1", missing},
                                {"~/dig*|1", missing},
                                {"|1", missing},
                                {OverlongPath() + "|1", missing}});
}

TEST_F(FileHandlers, FileCompare) {
  WriteFile(top_ / "short", "some words, wordy ones: Word");
  WriteFile(top_ / "long", "some words, wordy ones: Words more");
  WriteFile(top_ / "empty", "");
  SetTimes(top_ / "short", 1000);
  SetTimes(top_ / "long", 2000);
  SetTimes(top_ / "empty", 3000);
  WriteFile(top_ / "part", "wordy");
  WriteFile(top_ / "eight", "");
  WriteFile(top_ / "nine", "");
  ASSERT_EQ(truncate((top_ / "eight").c_str(), 8388608), 0);
  ASSERT_EQ(truncate((top_ / "nine").c_str(), 8388609), 0);
  mkfifo((top_ / "pipe").c_str(), 0666);
  mkdir((top_ / "one").c_str(), 0755);
  WriteFile(top_ / "one/only", "only Word");
  const std::string missing = "301|File doesn`t exist";
  const std::string wrong = "501|Wrong parameter";
  const std::string no_macro = "~/one/%newestfile%";
  ExpectReplies(CheckFileCompare,
                {{"1|~/short|~/long", "200|1|"},
                 {"1|~/short|~/long|||1", "200|1|"},
                 {"1|~/short|~/long||1|1", "200|0|"},
                 {"1|~/short|~/long|1||1", "200|0|"},
                 {"1|~/short|~/part|||1", "200|0|"},
                 {"1|~/short|~/missing", missing},
                 {"1|~/short|~/pipe|||1", missing},
                 {"1|" + no_macro + "|~/one/only|1|1|1||||||1|0", "200|1|"},
                 {"1|~/one/only|" + no_macro + "|1|1|1|||||||1", "200|1|"},
                 {"1|~/one/only|" + no_macro + "|1|1|1||||||1|", missing},
                 {"2|~/short|~/part", "200|1|"},
                 {"2|~/part|~/short", "200|0|"},
                 {"2|~/short|~/empty", "200|1|"},
                 {"2|~/empty|~/empty", "200|1|"},
                 {"2|~/short|~/eight", "200|0|"},
                 {"2|~/nine|~/eight", "200|1|"},
                 {"2|~/nine|~/nine", "301|The size of the second file cannot exceed 8Mb"},
                 {"2|~/short|~/missing", missing},
                 {"2|" + no_macro + "|~/part||||||1", "200|0|"},
                 {"2|~/short|" + no_macro + "|||||||1", missing},
                 {"3|~/short|word", "200|1|"},
                 {"3|~/short|WORD|1", "200|0|"},
                 {"3|~/short|wordy", "200|1|"},
                 {"3|~/short|ord||1", "200|0|"},
                 // Deliberate: this one begins a window, where its left neighbour alone decides.
                 {"3|~/short|wor||1", "200|1|"},
                 {"3|~/short|word||1", "200|1|"},
                 {"3|" + no_macro + "|Word|1|1||||||1", "200|1|"},
                 {"3|~/short|" + std::string(40, 'x'), "200|0|"},
                 {"3|~/short|", "301|I/O Error"},
                 {"3|~/missing|", missing},
                 {"4|~/short", wrong},
                 {"4|" + no_macro + "||||||||||1", wrong},
                 {"4|" + no_macro, missing},
                 {"5|~/short", wrong},
                 {"|~/short", wrong},
                 {"01|~/short|~/short", wrong},
                 {"5|~/missing", missing},
                 {"", missing}});
}

TEST_F(FileHandlers, ListFiles) {
  mkdir((top_ / "f").c_str(), 0755);
  mkdir((top_ / "f/.sub").c_str(), 0777);
  WriteFile(top_ / "f/a.txt", "12345");
  chmod((top_ / "f/a.txt").c_str(), 0444);
  mkfifo((top_ / "f/pipe").c_str(), 0666);
  chmod((top_ / "f/pipe").c_str(), 0666);
  chmod((top_ / "f/.sub").c_str(), 0777);
  ASSERT_EQ(symlink("a.txt", (top_ / "f/link").c_str()), 0);
  SetTimes(top_ / "f/a.txt", 86400 * 365);
  struct stat info;
  stat((top_ / "f/a.txt").c_str(), &info);
  const std::string times = Stamp(info.st_ctime) + "|" + Stamp(86400 * 365);
  EXPECT_TRUE(HoldsForPlainUser([&] {
    // Whether the user may write the folder above decides about the bit of its entry.
    const std::string up = access(top_.Path().c_str(), W_OK) == 0 ? "..|16|" : "..|17|";
    ExpectReplies(ListFiles,
                  {{"~/f", "200|~/f/|0|2|"},
                   {"~/f/a.*|", "200|~/f/|0|2|"},
                   {"~/f|*.none|1", "200|~/f/|1|2|" + up},
                   {"~/f||0|1", "200|~/f/|1|2|a.txt|1|"},
                   {"~/f/||1|1", "200|~/f/|2|2|" + up + "a.txt|1|"},
                   {"~/f|p*||1||1", "200|~/f/|1|2|pipe|4|"},
                   {"~/f|.s*||1|1", "200|~/f/|0|2|"},
                   {"~/f|a*||1|||1", "200|~/f/|1|3|a.txt|1|     5|"},
                   {"~/f|a*||1|||1|1|1", "200|~/f/|1|5|a.txt|1|     5|" + times + "|"},
                   {"~/f|a*||1||||0|1", "200|~/f/|1|3|a.txt|1|" + Stamp(86400 * 365) + "|"},
                   {"~/f|l*||1|1|1", "200|~/f/|0|2|"},
                   {"~/missing|none||1", "200|~/|0|2|"},
                   {"~/missing/||1|1", "200|~/missing/|0|2|"},
                   {"missing", "200|/|0|2|"},
                   {"", "200|/|0|2|"},
                   {OverlongPath() + "/||1|1", "200|" + OverlongPath() + "/|0|2|"}});
    const std::string hidden = Reply(ListFiles, "~/f||1||1");
    EXPECT_EQ(hidden.size(), Spelled("200|~/f/|2|2|" + up + ".sub|18|").size());
    EXPECT_NE(hidden.find("\n.sub\n18\n"), std::string::npos);
  }));
}

}  // namespace
}  // namespace zem
