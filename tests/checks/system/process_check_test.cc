// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/process_check.h"

#include <cstring>

#include "checks/system/scratch.h"
#include "checks/system/temp_names.h"

namespace zem {
namespace {

// A stream over bytes that may hold zeros.
FilePtr StreamOf(std::string_view bytes) {
  FilePtr file(tmpfile());
  fwrite(bytes.data(), 1, bytes.size(), file.get());
  rewind(file.get());
  return file;
}

class ProcessCheckTest : public testing::Test {
 protected:
  std::string Count(const std::string& body, std::string_view name = "init") {
    settings_.proc_cnt_script = scratch_.WriteScript("count", body).c_str();
    return Answer(CheckProcess, settings_, "first\n" + std::string(name) + "\n\r");
  }
  std::string Cpu(const std::string& body) {
    settings_.cpu_usage_script = scratch_.WriteScript("cpu", body).c_str();
    return Answer(CheckCpu, settings_, "\r");
  }
  std::string List(const std::string& body) {
    settings_.proc_list_script = scratch_.WriteScript("list", body).c_str();
    return Answer(ListProcesses, settings_, "\r");
  }
  // What all three answer to a script.
  void ExpectAll(const std::string& body, const std::string& reply) {
    EXPECT_EQ(Count(body), reply);
    EXPECT_EQ(Cpu(body), reply);
    EXPECT_EQ(List(body), reply);
  }
  void ExpectNothingLeft() const {
    EXPECT_EQ(scratch_.LeftInTemp(), std::vector<std::string>());
    EXPECT_TRUE(HasNoChild());
  }

  const Scratch scratch_;
  Settings settings_;
};

TEST_F(ProcessCheckTest, ScriptsAreLookedForFirst) {
  EXPECT_EQ(Answer(CheckProcess, settings_, ""), "301\nProcCnt script is not speified");
  EXPECT_EQ(Answer(CheckCpu, settings_, ""), "301\nCPUUsage script is not speified");
  EXPECT_EQ(Answer(ListProcesses, settings_, ""), "301\nProcList script is not speified");
  for (const std::string& path : {scratch_ / "missing", scratch_.Temp()}) {
    settings_.proc_cnt_script = settings_.cpu_usage_script = settings_.proc_list_script =
        path.c_str();
    EXPECT_EQ(Answer(CheckProcess, settings_, ""), "301\nProcCnt script doesn't exist");
    EXPECT_EQ(Answer(CheckCpu, settings_, ""), "301\nCPUUsage script doesn't exist");
    EXPECT_EQ(Answer(ListProcesses, settings_, ""), "301\nProcList script doesn't exist");
  }
  EXPECT_EQ(Count("echo 3\n", " \t "), "501\nName of the process is not specified");
}

TEST_F(ProcessCheckTest, CountsWhatTheScriptPrints) {
  EXPECT_EQ(Count("echo 3\n"), "200\n3\n");
  EXPECT_EQ(Count("printf '\\n\\t -12abc'; exit 1"), "200\n-12\n");
  EXPECT_EQ(Count("echo 5 >&2\n"), "200\n5\n");
  EXPECT_EQ(Count("echo 6 >&3\n"), "200\n6\n");
  EXPECT_EQ(Count("echo $#$1$2\n", "1 2"), "200\n212\n");  // one name, two arguments
  EXPECT_EQ(Count("echo $1\n", "$((40+2))"), "200\n42\n");
  EXPECT_EQ(Count("exit 0\n"), "301\nScript error");
  EXPECT_EQ(Count("echo many\n"), "301\nScript error");
  EXPECT_EQ(Count("kill -KILL $$\n"), "301\nScript error");
  EXPECT_EQ(Count("printf '\\0001'\n"), "301\nScript error");
  EXPECT_EQ(Count("printf '\\0'\n"), "301\nScript error");
  ExpectNothingLeft();
}

TEST_F(ProcessCheckTest, AResultThatTheShellNeverOpenedIsNone) {
  // The name reaches the shell as it is, and may keep it from getting to the redirections.
  EXPECT_EQ(Count("echo 3\n", "("), "301\nCannot get script results");
  EXPECT_EQ(Count("echo 3\n", "'"), "301\nCannot get script results");
  EXPECT_EQ(Count("exit 0\n", "x # y"), "301\nCannot get script results");
  EXPECT_EQ(Count("exit 0\n", "x;"), "301\nScript error");
  EXPECT_EQ(Count("rm -f " + scratch_.Temp() + "/*; echo 3\n"), "301\nCannot get script results");
  ExpectNothingLeft();
}

TEST_F(ProcessCheckTest, ReadsTheCpuUsage) {
  EXPECT_EQ(Cpu("echo 12.5\n"), "200\n12.5000\n");
  EXPECT_EQ(Cpu("echo '  7 %'\n"), "200\n7.0000\n");
  EXPECT_EQ(Cpu("echo 0.1 >&2\n"), "200\n0.1000\n");
  EXPECT_EQ(Cpu("echo 33333333.3\n"), "200\n33333334.0000\n");  // single precision
  EXPECT_EQ(Cpu("echo 12,5; exit 3\n"), "200\n12.0000\n");
  EXPECT_EQ(Cpu("echo none\n"), "301\nScript error");
  EXPECT_EQ(Cpu("kill -KILL $$\n"), "301\nCannot execute script");
  EXPECT_EQ(Cpu("echo 5 >&3\n"), "301\nScript error");  // no third descriptor here
  ExpectNothingLeft();
}

TEST_F(ProcessCheckTest, PausesBeforeTheCpuScriptAndEndsItAfterNineSeconds) {
  settings_.delay_for_scripts = 300000;
  const Stopwatch watch;
  EXPECT_EQ(Cpu("echo 1; sleep 60\n"), "301\nCannot execute script");
  EXPECT_GE(watch.Seconds(), 9.3);
  EXPECT_LE(watch.Seconds(), 30);
  settings_.delay_for_scripts = -1;
  EXPECT_EQ(Cpu("echo 1\n"), "200\n1.0000\n");
  ExpectNothingLeft();
}

TEST_F(ProcessCheckTest, ListsTheLastLineTwiceWhenTheOutputEndsInALineFeed) {
  EXPECT_EQ(List("printf 'a\\nb\\n'\n"), "200\na%0D%0Ab%0D%0Ab%0D%0A\n");
  EXPECT_EQ(List("printf 'a\\nb'\n"), "200\na%0D%0Ab%0D%0A\n");
  EXPECT_EQ(List("printf 'a\\n\\n'\n"), "200\na%0D%0A\n");
  EXPECT_EQ(List("exit 0\n"), "200\n\n");
  ExpectNothingLeft();
}

TEST_F(ProcessCheckTest, PlantedFilesAreNotFollowedAndNotTakenForResults) {
  WriteFile(scratch_ / "victim", "precious");
  const auto next_file = [&](const char* prefix) {
    return scratch_.Temp() + prefix + std::to_string(NextTempId() + 1) + ".txt";
  };
  for (const char* target : {"victim", "nothing-there"}) {
    std::filesystem::create_symlink(scratch_ / target, next_file("/tmpPzem-"));
    EXPECT_EQ(Count("echo 3\n"), "200\n3\n");
    std::filesystem::create_symlink(scratch_ / target, next_file("/tmpCzem-"));
    EXPECT_EQ(Cpu("echo 4\n"), "200\n4.0000\n");
    std::filesystem::create_symlink(scratch_ / target, next_file("/tmpPzem-"));
    EXPECT_EQ(List("printf x\n"), "200\nx%0D%0A\n");
  }
  EXPECT_EQ(ReadFile(scratch_ / "victim"), "precious");
  EXPECT_FALSE(std::filesystem::exists(scratch_ / "nothing-there"));
  ExpectNothingLeft();

  // What cannot be made afresh: nothing is run.
  const std::string mark = scratch_ / "was-run";
  std::filesystem::create_directory(next_file("/tmpPzem-"));
  EXPECT_EQ(Count("touch " + mark + "; echo 3\n"), "301\nCannot get script results");
  std::filesystem::create_directory(next_file("/tmpCzem-"));
  EXPECT_EQ(Cpu("touch " + mark + "; echo 3\n"), "301\nCannot get script results");
  std::filesystem::create_directory(next_file("/tmpPzem-"));
  EXPECT_EQ(List("touch " + mark + "; echo 3\n"), "301\nCannot get script results");
  EXPECT_FALSE(std::filesystem::exists(mark));
  EXPECT_EQ(scratch_.LeftInTemp().size(), 3u);
}

TEST_F(ProcessCheckTest, TellsWhenThereIsNoPlaceForResults) {
  std::vector<std::string> folders = {scratch_ / "missing"};
  if (std::filesystem::exists("/proc/version")) folders.emplace_back("/proc");  // root's limit too
  for (const std::string& folder : folders) {
    Scratch::Use(folder);
    ExpectAll("echo 3\n", "301\nCannot get script results");
  }
  Scratch::Use("/" + std::string(496, 'd'));
  ExpectAll("echo 3\n", "301\ncannot get temp file");
}

TEST(ReadInteger, ReadsAsTheLibraryDoesWithoutItsOverflow) {
  const struct {
    const char* text;
    std::optional<int32_t> value;
  } cases[] = {
      {"7", 7},
      {" \t\n\v\f\r+7 8", 7},
      {"-0x10", 0},
      {"007", 7},
      {"2147483647", INT32_MAX},
      {"-2147483648", INT32_MIN},
      // Cut to 32 bits, after a clamp to 64: what the library does on both systems.
      {"2147483648", INT32_MIN},
      {"4294967297", 1},
      {"9223372036854775807", -1},
      {"9223372036854775808", -1},
      {"99999999999999999999999", -1},
      {"-9223372036854775808", 0},
      {"-99999999999999999999999", 0},
      {"", std::nullopt},
      {"-", std::nullopt},
      {"- 5", std::nullopt},
      {"+-5", std::nullopt},
      {"x5", std::nullopt},
      {".5", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(ReadInteger(StreamOf(c.text).get()), c.value) << c.text;
}

TEST(ReadProcessList, KeepsTheWaysOfItsBuffer) {
  using namespace std::string_literals;
  const std::string x511(511, 'x');
  const struct {
    const char* name;
    std::string bytes;
    std::string list;
  } cases[] = {
      {"empty", "", ""},
      {"blank lines", "\n\na\n\n\nb\n\n", "a\r\nb\r\n"},
      {"carriage returns stay", "a\r\n", "a\r\r\na\r\r\n"},
      {"511 bytes and the feed", x511 + "\n", x511 + "\r\n"},
      {"512 bytes", x511 + "yz\n", x511 + "\r\nyz\r\nyz\r\n"},
      {"a zero byte ends the line", "ab\0cd\nef"s, "ab\r\nef\r\n"},
      {"a zero byte first skips the line", "ab\n\0cd\nef"s, "ab\r\nef\r\n"},
      {"a zero byte first hides the last one", "ab\n\0cd\n"s, "ab\r\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ReadProcessList(StreamOf(c.bytes).get()).View(), c.list) << c.name;
  }
}

}  // namespace
}  // namespace zem
