// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/shell_script.h"

#include <signal.h>
#include <sys/resource.h>

#include <thread>

#include "checks/system/scratch.h"
#include "checks/system/temp_names.h"

namespace zem {
namespace {

std::string Request(std::string_view command_template, std::string_view script,
                    std::string_view parameters = "", std::string_view timeout = "0",
                    std::string_view lines = "0") {
  std::string request;
  for (const std::string_view line : {command_template, script, parameters, timeout, lines}) {
    request.append(line).append("\n");
  }
  return request + "\r";
}

std::string Ask(const std::string& request) {
  return Answer(CheckShellScript, {}, request);
}

TEST(ShellScript, RunsTheScriptThatCameWithTheRequest) {
  const Scratch scratch;
  const struct {
    const char* name;
    std::string request;
    const char* reply;
  } cases[] = {
      {"result", Request("/bin/sh %script% %params%", "echo ScriptRes:5 $*", "a b"),
       "200\nScriptRes:5 a b\n\n"},
      {"executable by itself", Request("%script% x", "#!/bin/sh%0Aecho scriptres:$1"),
       "200\nscriptres:x\n\n"},
      {"two lines of output",
       Request("sh %SCRIPT% -", "echo a%0D%0Aecho b%0Aecho scriptres:1%0Aecho c", "", "0", "2"),
       "200\nscriptres:1\na%0D%0Ab%0D%0A\n"},
      {"lines behind the result too",
       Request("sh %script% -", "echo scriptres:1;echo a;echo scriptres:2;echo b", "", "0", "3"),
       "200\nscriptres:1\nscriptres:1%0D%0Aa%0D%0Ascriptres:2%0D%0A\n"},
      {"the last line without a result", Request("sh %script% -", "echo a; echo; echo ' b '; echo"),
       "200\nb\n\n"},
      {"errors are output", Request("sh %script% -", "echo a; echo e >&2", "", "", "9"),
       "200\ne\na%0D%0Ae%0D%0A\n"},
      {"no output", Request("sh %script% -", "exit 3"), "200\n\n\n"},
      {"line ends within a line", Request("sh %script% -", "printf 'a\\rb\\n'"), "200\na%0Db\n\n"},
      {"parameters keep no outer blanks",
       Request("sh %script% %Params% end", "echo \"$1|$2|\"", "%0A x %0D%0A"), "200\nx|end|\n\n"},
      {"the whole template", Request("%script%", "echo never"),
       "301\nScript execution error: exec error: No such file or directory"},
      {"no template", Request("", "echo never"),
       "301\nScript execution error: exec error: No such file or directory"},
      {"no parameter at all", "",
       "301\nScript execution error: exec error: No such file or directory"},
      {"time-out that has passed", Request("sh %script% -", "sleep 60", "", "-1"),
       "301\nScript execution error: abnormal termination"},
      {"time-out that is no number", Request("sh %script% -", "echo a", "", "soon"), "200\na\n\n"},
      {"time-out beyond 32 bits", Request("sh %script% -", "echo a", "", "99999999999", "-5"),
       "200\na\n\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(Ask(c.request), c.reply) << c.name;
  EXPECT_EQ(scratch.LeftInTemp(), std::vector<std::string>());
  EXPECT_TRUE(HasNoChild());
}

TEST(ShellScript, WritesTheScriptForEverybodyAndTheOutputForItself) {
  const Scratch scratch;
  EXPECT_EQ(Ask(Request("sh %script% -", "ls -ld ${0%/*}/* | cut -c 2-10 | tr '\\n' ' '")),
            "200\nrwxrwxr-x rw-------\n\n");
  EXPECT_EQ(Ask(Request("sh %script% -", "od -An -c \"$0\" | head -1; true%0D%0A# ")),
            "200\no   d       -   A   n       -   c       \"   $   0   \"       |\n\n");
}

TEST(ShellScript, PausesAndKeepsItsTimeOut) {
  const Scratch scratch;
  std::string slow;
  std::string paused;
  double paused_seconds = 0;
  std::thread killed([&] { slow = Ask(Request("sh %script% -", "sleep 60", "", "1")); });
  std::thread pausing([&] {
    Settings settings;
    settings.delay_for_scripts = 500000;
    const Stopwatch watch;
    paused = Answer(CheckShellScript, settings, Request("sh %script% -", "echo a"));
    paused_seconds = watch.Seconds();
  });
  killed.join();
  pausing.join();
  EXPECT_EQ(slow, "301\nScript execution error: abnormal termination");
  EXPECT_EQ(paused, "200\na\n\n");
  EXPECT_GE(paused_seconds, 0.5);
  EXPECT_EQ(scratch.LeftInTemp(), std::vector<std::string>());
}

TEST(ShellScript, ReportsTroubleWithItsFiles) {
  const Scratch scratch;
  const std::string request = Request("sh %script% -", "echo a");
  Scratch::Use("/" + std::string(496, 'd'));
  EXPECT_EQ(Ask(request), "301\nCannot get temp file");
  Scratch::Use(scratch / "missing");
  EXPECT_EQ(Ask(request), "301\nCannot create temp file");
  Scratch::Use(scratch.Temp());

  // A full disk, acted by a limit on the size of files.
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small = {4, before.rlim_max};
  signal(SIGXFSZ, SIG_IGN);  // NOLINT(bugprone-signal-handler): no handler at all
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(Ask(request), "301\ncannot create temp file");
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(scratch.LeftInTemp(), std::vector<std::string>());
}

TEST(ShellScript, FollowsNoPlantedLink) {
  const Scratch scratch;
  // The names that come next: `ahead` files from now.
  const auto plant = [&](int ahead) {
    char path[512];
    long id = 0;
    long suffix = 0;
    EXPECT_TRUE(MakeTempName(path, sizeof(path), nullptr));
    EXPECT_EQ(sscanf(path + scratch.Temp().size(), "/tmp-%ld-%ld", &id, &suffix), 2);
    const std::string link = scratch.Temp() + "/tmp-" + std::to_string(id + ahead) + "-" +
                             std::to_string(suffix + ahead);
    std::filesystem::create_symlink(scratch / "nothing-there", link);
  };
  const std::string request = Request("sh %script% -", "touch " + scratch / "was-run");
  plant(1);
  EXPECT_EQ(Ask(request), "301\nCannot create temp file");
  plant(2);
  EXPECT_EQ(Ask(request), "301\nCannot get script results");
  EXPECT_FALSE(std::filesystem::exists(scratch / "nothing-there"));
  EXPECT_FALSE(std::filesystem::exists(scratch / "was-run"));
  EXPECT_EQ(scratch.LeftInTemp().size(), 2u) << "only the two links stay";
}

TEST(FillPlaceholder, SearchesOnlyWhileTheRestIsLonger) {
  const struct {
    const char* text;
    const char* filled;
  } cases[] = {
      {"%p%", "%p%"},     {"x%p%", "xV"},
      {"%p% ", "V "},     {"%P% %p%", "V V"},
      {"%p%%p%", "V%p%"}, {"%p%%p%%p%", "VV%p%"},
      {"%p%x%p%", "VxV"}, {"%%p%p%", "%Vp%"},
      {"", ""},           {"%p %x% %p%", "%p %x% V"},
  };
  for (const auto& c : cases) EXPECT_EQ(FillPlaceholder(c.text, "%p%", "V"), c.filled) << c.text;
  EXPECT_EQ(FillPlaceholder("a %p% b", "%p%", "%p%"), "a %p% b");  // not searched again
}

TEST(ScanScriptOutput, TakesLinesInPiecesOf511Bytes) {
  using namespace std::string_literals;
  const std::string long_line = std::string(505, 'x') + "scriptres:1\n";
  FilePtr file(tmpfile());
  fwrite(long_line.data(), 1, long_line.size(), file.get());
  fwrite("tail\0cut\n", 1, 9, file.get());
  rewind(file.get());
  const ScriptOutput output = ScanScriptOutput(file.get(), 5);
  EXPECT_EQ(output.result, "tail");
  EXPECT_EQ(output.lines.View(), std::string(505, 'x') + "script\r\nres:1\r\ntail\r\n");
}

}  // namespace
}  // namespace zem
