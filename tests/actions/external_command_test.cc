// SPDX-License-Identifier: BSD-2-Clause
#include "actions/external_command.h"

#include "checks/system/external_program.h"
#include "checks/system/scratch.h"

namespace zem {
namespace {

// The check and the action differ in the lines they read and in one message.
TEST(ExternalCommand, AnswersEachRequest) {
  const Scratch scratch;
  const std::string where = scratch.WriteScript("where", "pwd >" + scratch / "out" + "\n");
  const std::string own = std::filesystem::current_path().string() + "\n";
  const std::string wrong = "501\nWrong parameter";
  const std::string missing = "301\nexec error: No such file or directory";
  const struct {
    Handler* handler;
    std::string lines;
    std::string reply;
    std::string folder = "";
  } cases[] = {
      {CheckExternalProgram, "/bin/sh -c 'exit 3'\nunused\nunused\n0\n\r", "200\n3\n"},
      {CheckExternalProgram, "  /bin/sh -c 'exit 3'  \n\n\n\n", "200\n3\n"},  // empty means 0
      {CheckExternalProgram, "/no/such/program\n\n\n0\n", missing},
      {CheckExternalProgram, "sleep 60\n\n\n-99999999999\n", "301\nabnormal termination"},
      {CheckExternalProgram, "true\n\n\n99999999999\n", "200\n0\n"},
      {CheckExternalProgram, "true\n\n\n1.5\n", wrong},
      {CheckExternalProgram, "\n\n\nsoon\n", wrong},
      {CheckExternalProgram, "", "501\n"},  // no message here
      {RunExternalCommand, where + "\n" + scratch.Temp() + "\n0\n0\n\r", "200\n0\n",
       scratch.Temp() + "\n"},
      {RunExternalCommand, where + "\n/no/such/folder\n0\n0\n\r", "200\n0\n", own},
      {RunExternalCommand, where + "\n\n\n\n\r", "200\n0\n", own},
      {RunExternalCommand, "/bin/sh -c 'exit 3'\n\n-\n9000\n", "200\n3\n"},
      {RunExternalCommand, "/no/such/program\n\n0\n0\n", missing},
      {RunExternalCommand, "sleep 60\n\n0\n-2\n", "301\nabnormal termination"},
      {RunExternalCommand, "true\n\nx\n0\n", wrong},
      {RunExternalCommand, "\n\n0\nx\n", wrong},
      {RunExternalCommand, "", "501\nCommand line to execute is not specified"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.lines);
    EXPECT_EQ(Answer(c.handler, {}, c.lines), c.reply);
    EXPECT_EQ(ReadFile(scratch / "out"), c.folder);
    unlink((scratch / "out").c_str());
  }
  EXPECT_TRUE(HasNoChild());
  EXPECT_EQ(scratch.LeftInTemp(), std::vector<std::string>());
}

TEST(ExternalCommand, WithoutWaitingTheProgramRunsOn) {
  const Scratch scratch;
  const std::string wait =
      scratch.WriteScript("wait", "until [ -e $0.go ]; do sleep 0.1; done; touch $0.mark\n");
  EXPECT_EQ(Answer(RunExternalCommand, {}, wait + "\n\n0\n-1\n"), "200\n0\n");
  EXPECT_FALSE(FileExists(wait + ".mark"));
  WriteFile(wait + ".go", "");
  waitpid(-1, nullptr, 0);
  EXPECT_TRUE(FileExists(wait + ".mark"));
}

}  // namespace
}  // namespace zem
