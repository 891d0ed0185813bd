// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/external_program.h"

#include "checks/system/scratch.h"

namespace zem {
namespace {

TEST(ExternalProgram, AnswersEachRequest) {
  const Scratch scratch;
  const struct {
    const char* lines;
    const char* reply;
  } cases[] = {
      {"/bin/sh -c 'exit 3'\nunused\nunused\n0\n\r", "200\n3\n"},
      {"  /bin/sh -c 'exit 3'  \n\n\n\n", "200\n3\n"},  // an empty line is the number 0
      {"/no/such/program\n\n\n0\n", "301\nexec error: No such file or directory"},
      {"sleep 60\n\n\n-1000\n", "301\nabnormal termination"},
      {"sleep 60\n\n\n-99999999999\n", "301\nabnormal termination"},
      {"true\n\n\n99999999999\n", "200\n0\n"},
      {"true\n\n\n1.5\n", "501\nWrong parameter"},
      {"true\n\n\nsoon\n", "501\nWrong parameter"},
      {"\n\n\nsoon\n", "501\nWrong parameter"},
      {"\n\n\n0\n", "501\n"},  // no message here
      {"", "501\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(Answer(CheckExternalProgram, {}, c.lines), c.reply);
  EXPECT_TRUE(HasNoChild());
  EXPECT_EQ(scratch.LeftInTemp(), std::vector<std::string>());
}

}  // namespace
}  // namespace zem
