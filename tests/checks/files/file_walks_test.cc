// SPDX-License-Identifier: BSD-2-Clause
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <thread>

#include "checks/files/count_files.h"
#include "checks/files/directory_walker.h"
#include "checks/files/file_exists.h"
#include "checks/files/file_macros.h"
#include "checks/files/folder_size.h"
#include "checks/files/folder_stack.h"
#include "plain_user.h"
#include "temp_dir.h"

namespace zem {
namespace {

constexpr time_t kNow = 1'700'000'017;

// The names that a search returns, with their attributes, but for the dots.
std::map<std::string, uint32_t> SearchAll(const std::string& directory, const std::string& mask,
                                          uint32_t requested) {
  std::map<std::string, uint32_t> entries;
  SearchRecord record;
  for (int found = FindFirst(OvString(directory), OvString(mask), requested, &record); found == 0;
       found = FindNext(&record)) {
    if (!IsDotName(record.name)) entries[record.name] = record.attributes;
  }
  FindClose(&record);
  return entries;
}

double SizeOrFailure(const std::string& path, bool with_subfolders) {
  return MeasureFolder(OvString(path), with_subfolders).value_or(-1);
}

int64_t CountOrFailure(const std::string& folder, const std::string& mask,
                       const CountQuery& query) {
  return CountFiles(OvString(folder), OvString(mask), query, kNow).value_or(-1);
}

// Links, odd names, files beyond 32 bits, and folders that an ordinary user may enter or list only.
class FileWalksOfATree : public testing::Test {
 protected:
  FileWalksOfATree() {
    const struct {
      std::string name;  // a folder's ends in a slash
      mode_t mode;
      off_t size;
      int age;
    } entries[] = {
        {"/", 0777, 0, 0},
        {"/a.log", 0666, 100, 600},
        {"/b.log", 0666, 101, -600},
        {"/.hidden", 0666, 99, 0},
        {"/line\nend", 0666, 3'000'000'000, 60},
        {"/" + long_, 0666, 0, 30},
        {"/ro", 0444, 1, 0},
        {"/s/", 0777, 0, -50},
        {"/s/x.log", 0666, 1 << 16, 1200},
        {"/s/.h/", 0777, 0, 0},
        {"/s/.h/y", 0666, 1, 0},
        {"/no/", 0, 0, 5000},
        {"/no/z", 0666, 7, 0},
        {"/listed/", 0666, 0, 0},
        {"/listed/w", 0666, 7, 0},
        {"/entered/", 0111, 0, 0},
        {"/entered/v", 0666, 7, 0},
        {"/shut/", 0555, 0, 20},
        {"/shut/u", 0444, 5, 0},
    };
    for (const auto& entry : entries) {
      const std::string path = tree_ + entry.name;
      if (path.back() == '/') {
        EXPECT_EQ(mkdir(path.c_str(), 0777), 0);
      } else {
        WriteFile(path, "");
        EXPECT_EQ(truncate(path.c_str(), entry.size), 0);
      }
    }
    EXPECT_EQ(mkfifo((tree_ + "/pipe").c_str(), 0666), 0);
    chmod((tree_ + "/pipe").c_str(), 0666);
    SetTimes(tree_ + "/pipe", kNow);
    for (const auto& [name, target] :
         {std::pair{"/up", ".."}, std::pair{"/dir", "s"}, std::pair{"/file", "a.log"},
          std::pair{"/lost", "nowhere"}}) {
      EXPECT_EQ(symlink(target, (tree_ + name).c_str()), 0);
    }
    for (size_t i = std::size(entries); i-- > 0;) {
      SetTimes(tree_ + entries[i].name, kNow - entries[i].age);
      chmod((tree_ + entries[i].name).c_str(), entries[i].mode);
    }
  }

  const std::string long_ = std::string(255, 'n');
  const TempDir top_;
  const std::string tree_ = top_ / "tree";
};

TEST_F(FileWalksOfATree, IsSearchedMeasuredAndCounted) {
  const std::map<std::string, uint32_t> all = {
      {"a.log", 0}, {"b.log", 0}, {".hidden", 2}, {"line\nend", 0}, {long_, 0},      {"ro", 1},
      {"pipe", 4},  {"s", 16},    {"no", 17},     {"listed", 16},   {"entered", 17}, {"shut", 17}};
  constexpr double kTop = 100 + 101 + 99 + 3e9 + 1;
  const struct {
    const char* path;
    bool deep;
    double size;
  } sizes[] = {
      {"", false, kTop},      {"", true, kTop + 65536 + 1 + 5},
      {"/*.log", false, 201}, {"/*.log", true, 201 + 65536},
      {"/?", true, 1 + 5},    {"/.*", true, 99},
      {"/*\n*", true, 3e9},   {"/[", true, 0},
      {"/s", false, 65536},   {"/dir", false, 65536},
      {"/dir", true, 65537},  {"/no", true, -1},
      {"/listed", true, -1},  {"/entered", true, -1},
      {"/lost/*", true, -1},  {"/file/*", true, -1},
  };
  const struct {
    CountMode mode;
    int limit;
    std::string mask;
    int64_t shallow, deep;
  } counts[] = {
      {CountMode::kAllFiles, 0, "*", 7, 8},
      {CountMode::kAllFiles, 0, "*\n*", 1, 1},
      {CountMode::kAllFiles, 0, ".*", 1, 1},
      {CountMode::kAllFiles, 0, "[", 0, 0},
      {CountMode::kAllFiles, 0, std::string("*\0", 2), 0, 0},
      {CountMode::kOlderThan, 10, "*", 0, 1},
      {CountMode::kOlderThan, -1, "*", 6, 7},
      {CountMode::kNewerThan, 0, "*", 1, 1},
      {CountMode::kNewerThan, 10, "*", 6, 6},
      {CountMode::kBiggerThan, 100, "*", 2, 3},
      {CountMode::kSmallerThan, 100, "*", 4, 4},
      {CountMode::kSmallerThan, INT32_MAX, "*", 6, 7},
      {CountMode::kSubFolders, 0, "*", 5, 6},
  };
  const std::pair<const char*, const char*> macros[] = {
      {"/%newestfile%", "/b.log"},
      {"/%OldestFile%", "/a.log"},
      {"/%NEWESTFOLDER%/%oldestfile%", "/s/x.log"},
      {"/%oldestfolder%/x", "/no/x"},
      {"/%oldestfolder%/%newestfile%", "/%oldestfolder%/%newestfile%"},
  };
  EXPECT_TRUE(HoldsForPlainUser([&] {
    // All bits of an entry have to be asked for.
    for (const uint32_t requested : {127U, 63U, 62U, 61U, 59U, 47U, 16U, 0U}) {
      std::map<std::string, uint32_t> expected = all;
      std::erase_if(expected, [&](const auto& entry) { return (entry.second & ~requested) != 0; });
      EXPECT_EQ(SearchAll(tree_, "*", requested), expected) << requested;
    }
    EXPECT_EQ(SearchAll(tree_, "*.log", 63).size(), 2U);
    for (const auto& c : sizes) EXPECT_EQ(SizeOrFailure(tree_ + c.path, c.deep), c.size) << c.path;
    for (const auto& c : counts) {
      const CountQuery query = {.mode = c.mode, .limit = c.limit};
      CountQuery deep = query;
      deep.with_subfolders = true;
      EXPECT_EQ(CountOrFailure(tree_, c.mask, query), c.shallow) << c.mask << c.limit;
      EXPECT_EQ(CountOrFailure(tree_, c.mask, deep), c.deep) << c.mask << c.limit;
    }
    for (const char* closed : {"/no", "/listed", "/entered"}) {
      EXPECT_EQ(CountOrFailure(tree_ + closed, "*", {}), -1) << closed;
    }
    for (const auto& [path, resolved] : macros) {
      EXPECT_EQ(ResolveFileMacros(OvString(tree_ + path)), tree_ + resolved);
    }
  }));
}

// The current directory stands for an empty one. In a process of its own, as the directory is
// everybody's.
TEST(FileWalks, EmptyFolderIsTheCurrentOne) {
  TempDir top;
  mkdir((top / "etc").c_str(), 0755);
  WriteFile(top / "one.log", "12345");
  WriteFile(top / "etc/two.log", "123");
  EXPECT_TRUE(HoldsForPlainUser([&] {
    ASSERT_EQ(chdir(top.Path().c_str()), 0);
    EXPECT_EQ(SearchAll("", "*", 63), SearchAll(top.Path(), "*", 63));
    EXPECT_EQ(FindFirstMatchingFile("*.log"), "one.log");
    EXPECT_EQ(ResolveFileMacros("%oldestfolder%/%newestfile%"), "etc/two.log");
    EXPECT_EQ(SizeOrFailure("*.log", false), 5);
    // Deliberate: sub-folders of a mask without a folder are looked for in the root.
    EXPECT_EQ(SizeOrFailure("*.conf", true), SizeOrFailure("/etc/*.conf", true));
    EXPECT_GT(SizeOrFailure("*.conf", true), 0);
    // Without a mask as well each of them is named by its folder and "/": all of it counts.
    EXPECT_EQ(SizeOrFailure("", false), 0);
    EXPECT_EQ(SizeOrFailure("", true), SizeOrFailure("/etc", true));
    EXPECT_GT(SizeOrFailure("", true), SizeOrFailure("*.conf", true));
    EXPECT_EQ(CountOrFailure("", "*.log", {}), 1);
  }));
}

TEST(FileWalks, MaskThatNamesASubfolderMeansThatFolderAlone) {
  TempDir top;
  for (const char* folder : {"a", "a/data", "a/data/deep", "b", "c"}) {
    mkdir((top / folder).c_str(), 0755);
  }
  WriteFile(top / "data.txt", "1");
  WriteFile(top / "a/other", "22");
  WriteFile(top / "a/data/in", "333");
  WriteFile(top / "a/data/deep/in", "4444");
  WriteFile(top / "b/data", "55555");
  // A link of that name means the folder that it leads to.
  ASSERT_EQ(symlink("../a", (top / "c/data").c_str()), 0);
  EXPECT_EQ(SizeOrFailure(top / "data", true), 3 + 4 + 5 + (2 + 3 + 4));
  // One named "*" is not followed: the tree would have no end.
  ASSERT_EQ(symlink("..", (top / "b/*").c_str()), 0);
  EXPECT_EQ(SizeOrFailure(top.Path(), true), 1 + 2 + 3 + 4 + 5);
  mkdir((top / "a/*").c_str(), 0755);
  EXPECT_EQ(SizeOrFailure(top.Path(), true), 1 + 5);
  EXPECT_EQ(SizeOrFailure(top / "a/*", true), 0);
}

TEST(FileWalks, EqualTimesAndTheEpoch) {
  TempDir top;
  for (const char* name : {"x1", "x2", "x3"}) WriteFile(top / name, "");
  for (const char* name : {"x1", "x2", "x3"}) SetTimes(top / name, 5000);
  const std::string path = top / "%newestfile%";
  const std::string first(FindFirstMatchingFile(OvString(top / "x*")).View());
  EXPECT_EQ(ResolveFileMacros(OvString(path)), first);
  EXPECT_EQ(ResolveFileMacros(OvString(top / "%OLDESTfile%.x")), first + ".x");
  EXPECT_EQ(ResolveFileMacros("%newestfile"), "%newestfile");
  EXPECT_EQ(ResolveFileMacros(OvString(top / "%%newestfile%")), top / "%%newestfile%");
  // Dated at the epoch an entry leaves the choice open.
  for (const char* name : {"x1", "x2", "x3"}) SetTimes(top / name, 0);
  EXPECT_EQ(ResolveFileMacros(OvString(path)), path);
  SetTimes(top / "x3", -100);
  EXPECT_EQ(ResolveFileMacros(OvString(top / "%oldestfile%")), top / "x3");
}

// Leaves the process `spare` free descriptors for as long as it lives.
class TightLimit {
 public:
  explicit TightLimit(size_t spare) {
    getrlimit(RLIMIT_NOFILE, &before_);
    rlimit tight = {.rlim_cur = 0, .rlim_max = before_.rlim_max};
    for (size_t free = 0; free < spare; ++tight.rlim_cur) {
      if (fcntl(static_cast<int>(tight.rlim_cur), F_GETFD) < 0) ++free;
    }
    setrlimit(RLIMIT_NOFILE, &tight);
  }
  ~TightLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
  TightLimit(const TightLimit&) = delete;
  TightLimit& operator=(const TightLimit&) = delete;

 private:
  rlimit before_;
};

// Deeper than a path can be long, with files on both sides of each way down. Where descriptors are
// short the figure is whole or there is none.
TEST(FileWalks, DeepTreesNeedFewDescriptors) {
  constexpr int kDepth = 250;
  TempDir top;
  const std::string name(100, 'd');
  UniqueFd folder(open(top.Path().c_str(), O_RDONLY | O_DIRECTORY));
  for (int i = 0; i < kDepth; ++i) {
    for (const char* leaf : {"a", "z"}) {
      ASSERT_EQ(mkdirat(folder.Get(), leaf, 0777), 0);
      const UniqueFd inner(openat(folder.Get(), leaf, O_RDONLY | O_DIRECTORY));
      const UniqueFd file(openat(inner.Get(), "file", O_WRONLY | O_CREAT, 0666));
      ASSERT_EQ(write(file.Get(), "123", 3), 3);
    }
    ASSERT_EQ(mkdirat(folder.Get(), name.c_str(), 0777), 0);
    folder.Reset(openat(folder.Get(), name.c_str(), O_RDONLY | O_DIRECTORY));
  }
  folder.Reset();
  for (const size_t spare : {0u, 1u, 2u, 3u, 4u, 9u, 20u}) {
    SCOPED_TRACE(spare);
    const TightLimit tight(spare);
    EXPECT_EQ(SizeOrFailure(top.Path(), true), spare < 3 ? -1 : kDepth * 2 * 3);
    EXPECT_EQ(
        CountOrFailure(top.Path(), "*", {.mode = CountMode::kSubFolders, .with_subfolders = true}),
        spare < 3 ? -1 : kDepth * 3);
  }
}

// A folder on the present path is moved away while the walk is below it. The way down began with a
// link.
TEST(FileWalks, FolderMovedDuringTheWalk) {
  TempDir top;
  std::string path = top.Path();
  mkdir((top / "target").c_str(), 0777);
  ASSERT_EQ(symlink("target", (top / "d").c_str()), 0);
  constexpr int kDepth = 3 * static_cast<int>(FolderStack::kOpenFolders);
  for (int i = 0; i < kDepth; ++i) {
    path += "/d";
    mkdir(path.c_str(), 0777);
  }
  mkdir((top / "elsewhere").c_str(), 0777);
  FolderStack stack(OpenDirectory(OvString(top.Path())));
  const auto descend = [&](const char* waiting) {
    stack.Add("d");
    stack.Add(waiting);
    const char* name = stack.Next();
    ASSERT_STREQ(name, "d");
    ASSERT_TRUE(stack.Enter(stack.Depth() == 1 ? FollowLink::kYes : FollowLink::kNo));
  };
  std::vector<ino_t> entered;
  struct stat here;
  for (int i = 0; i < kDepth; ++i) {
    fstat(stack.Descriptor(), &here);
    entered.push_back(here.st_ino);
    descend(i < 10 ? "high" : "low");
  }
  std::string cut = top.Path();
  for (int i = 0; i < 12; ++i) cut += "/d";
  ASSERT_EQ(rename(cut.c_str(), (top / "elsewhere/d").c_str()), 0);
  // Below the cut all is as before; above it every folder is found again by its name.
  int low = 0;
  int high = 0;
  while (const char* name = stack.Next()) {
    ++(std::string(name) == "high" ? high : low);
    ASSERT_EQ(fstat(stack.Descriptor(), &here), 0);
    EXPECT_EQ(here.st_ino, entered[stack.Depth() - 1]) << stack.Depth();
  }
  EXPECT_EQ(high, 10);
  EXPECT_EQ(low, kDepth - 10);
}

// What was left behind on the way down can no longer be opened on the way back.
TEST(FileWalks, DescriptorsRunShortOnTheWayBack) {
  TempDir top;
  std::string path = top.Path();
  constexpr int kDepth = 2 * static_cast<int>(FolderStack::kOpenFolders);
  FolderStack stack(OpenDirectory(OvString(path)));
  for (int i = 0; i < kDepth; ++i) {
    path += "/d";
    mkdir(path.c_str(), 0777);
    stack.Add("d");
    stack.Add("waiting");
    ASSERT_NE(stack.Next(), nullptr);
    ASSERT_TRUE(stack.Enter(FollowLink::kNo));
  }
  std::vector<UniqueFd> strangers;
  {
    const TightLimit tight(2);
    while (stack.Next() != nullptr) {
      for (int fd = dup(stack.Descriptor()); fd >= 0; fd = dup(fd)) strangers.emplace_back(fd);
    }
  }
  EXPECT_TRUE(stack.RanShort());
}

// Folders come, go and turn into links to the way up while walks run; nothing outside is counted
// and every walk ends.
TEST(FileWalks, TreeThatChangesUnderTheWalk) {
  TempDir top;
  WriteFile(top / "outside", std::string(1000, 'x'));
  mkdir((top / "walked").c_str(), 0777);
  std::atomic<bool> stop = false;
  std::thread changer([&] {
    const std::string a = top / "walked/a";
    while (!stop) {
      mkdir(a.c_str(), 0777);
      mkdir((a + "/b").c_str(), 0777);
      rmdir((a + "/b").c_str());
      rmdir(a.c_str());
      (void)!symlink("..", a.c_str());
      unlink(a.c_str());
    }
  });
  for (int i = 0; i < 2000; ++i) {
    EXPECT_EQ(SizeOrFailure(top / "walked", true), 0);
    EXPECT_EQ(CountOrFailure(top / "walked", "*", {.with_subfolders = true}), 0);
  }
  stop = true;
  changer.join();
  // What stood there as a folder when its name was read.
  ASSERT_EQ(symlink("..", (top / "walked/a").c_str()), 0);
  FolderStack walked(OpenDirectory(OvString(top / "walked")));
  walked.Add("a");
  ASSERT_STREQ(walked.Next(), "a");
  EXPECT_FALSE(walked.Enter(FollowLink::kNo));
  EXPECT_FALSE(walked.EnterUnread(FollowLink::kNo));
}

TEST(FileWalks, ExamineFilePrefersTheLiteralName) {
  TempDir top;
  WriteFile(top / "b1.txt", "1");
  mkdir((top / "b0.txt").c_str(), 0755);
  ASSERT_EQ(symlink("b1.txt", (top / "b2.txt").c_str()), 0);
  struct stat info;
  OvString path(top / "b*.txt");
  ASSERT_TRUE(ExamineFile(&path, &info));
  EXPECT_EQ(path, top / "b1.txt");
  path = OvString(top / "b2.txt");
  ASSERT_TRUE(ExamineFile(&path, &info));
  EXPECT_TRUE(S_ISLNK(info.st_mode));
  WriteFile(top / "b*.txt", "literal");
  path = OvString(top / "b*.txt");
  ASSERT_TRUE(ExamineFile(&path, &info));
  EXPECT_EQ(info.st_size, 7);
  for (const std::string& missing : {std::string(), top / "c*", top / "no/b*",
                                     std::string(5000, 'x'), top / std::string("b1.txt\0", 7)}) {
    path = OvString(missing);
    EXPECT_FALSE(ExamineFile(&path, &info)) << missing;
  }
}

}  // namespace
}  // namespace zem
