// SPDX-License-Identifier: BSD-2-Clause
#include "actions/external_command.h"

#include "checks/system/scratch.h"

namespace zem {
namespace {

TEST(ExternalCommand, AnswersEachRequest) {
  const Scratch scratch;
  const std::string where = scratch.WriteScript("where", "pwd >" + scratch.Path("out") + "\n");
  const std::string own = std::filesystem::current_path().string() + "\n";
  const struct {
    std::string lines;
    const char* reply;
    std::string folder;
  } cases[] = {
      {where + "\n" + scratch.Temp() + "\n0\n0\n\r", "200\n0\n", scratch.Temp() + "\n"},
      {where + "\n/no/such/folder\n0\n0\n\r", "200\n0\n", own},
      {where + "\n\n\n\n\r", "200\n0\n", own},
      {"/bin/sh -c 'exit 3'\n\n-\n9000\n", "200\n3\n", ""},
      {"/no/such/program\n\n0\n0\n", "301\nexec error: No such file or directory", ""},
      {"sleep 60\n\n0\n-2\n", "301\nabnormal termination", ""},
      {"true\n\nx\n0\n", "501\nWrong parameter", ""},
      {"true\n\n0\nx\n", "501\nWrong parameter", ""},
      {"\n\nx\n0\n", "501\nWrong parameter", ""},
      {"\n\n0\n0\n", "501\nCommand line to execute is not specified", ""},
      {"", "501\nCommand line to execute is not specified", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.lines);
    EXPECT_EQ(Answer(RunExternalCommand, {}, c.lines), c.reply);
    EXPECT_EQ(ReadAll(scratch.Path("out")), c.folder);
    unlink(scratch.Path("out").c_str());
  }
  EXPECT_TRUE(HasNoChild());
  EXPECT_EQ(scratch.LeftInTemp(), std::vector<std::string>());
}

TEST(ExternalCommand, WithoutWaitingTheProgramRunsOn) {
  const Scratch scratch;
  const std::string mark = scratch.Path("mark");
  const std::string command = "/bin/sh -c 'sleep 1.5; touch " + mark + "'";
  const Stopwatch watch;
  EXPECT_EQ(Answer(RunExternalCommand, {}, command + "\n\n0\n-1\n"), "200\n0\n");
  EXPECT_GE(watch.Seconds(), 1);
  EXPECT_LT(watch.Seconds(), 1.5);
  EXPECT_FALSE(std::filesystem::exists(mark));
  waitpid(-1, nullptr, 0);
  EXPECT_TRUE(std::filesystem::exists(mark));
}

}  // namespace
}  // namespace zem
