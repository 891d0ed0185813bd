// SPDX-License-Identifier: BSD-2-Clause
// Shell texts that the client sends, run as the agent runs them.
#include <gtest/gtest.h>
#include <unistd.h>

#include "checks/system/scratch.h"
#include "checks/system/shell_script.h"
#include "client/client_run.h"
#include "client/fake_agent.h"

namespace zem::test {
namespace {

// An agent whose /bin/sh is another shell.
FakeAgent RunningIn(const std::string& shell) {
  return FakeAgent([shell](FakeSession* session, int) {
    std::string request = session->ReadRequest();
    request.erase(0, request.find('\n') + 1).replace(0, 7, shell);
    Settings settings;
    settings.delay_for_scripts = 0;
    session->Reply(Answer(CheckShellScript, settings, request) + "\n\r");
  });
}

ClientRun AskPlugin(const FakeAgent& agent, const std::vector<std::string>& words) {
  setenv("ZEM_PASSWORD", std::string(kFakePassword).c_str(), 1);
  std::vector<std::string> all = {"check_zem", "-p", std::to_string(agent.Port()), "plugin", "--"};
  all.insert(all.end(), words.begin(), words.end());
  return RunWords(all);
}

TEST(SentShell, PluginGetsItsWordsAndHandsOnItsText) {
  const std::vector<std::string> shells = {"/bin/sh", "/bin/dash", "/bin/busybox sh"};
  for (const std::string& shell : shells) {
    SCOPED_TRACE(shell);
    if (access(shell.substr(0, shell.find(' ')).c_str(), X_OK) != 0) {
      fprintf(stderr, "no %s here\n", shell.c_str());
      continue;
    }
    const FakeAgent agent = RunningIn(shell);
    const std::vector<std::string> words = {"a b",
                                            "",
                                            "'\"",
                                            "$HOME `id` $(id)",
                                            "%0A%0D%script%",
                                            ";|&\\n\\",
                                            "x\ny\r\nz\r",
                                            "*",
                                            "\xd0\x81 \xe2\x80\xa8",
                                            "-w",
                                            "--",
                                            "\t",
                                            std::string(3000, 'a')};
    std::string expected = "  two\n\n|a=1\n";
    std::vector<std::string> plugin = {"/bin/sh", "-c",
                                       "printf '  two\\n\\n|a=1\\n'; printf '<%s>' \"$@\";"
                                       "echo warning >&2; exit 2",
                                       "sh"};
    for (const std::string& word : words) {
      expected += '<' + word + '>';
      plugin.push_back(word);
    }
    const ClientRun run = AskPlugin(agent, plugin);
    EXPECT_EQ(run.out, expected);
    EXPECT_EQ(run.exit_code, 2);

    const std::pair<std::vector<std::string>, const char*> failures[] = {
        {{"/nosuch/plugin"}, "/nosuch/plugin: "},
        {{"/"}, "cannot be run"},
        {{"exit", "0"}, "cannot be run"},
        {{"/bin/sh", "-c", "kill -9 $$"}, "killed by signal 9"},
        {{"/bin/sh", "-c", "echo; echo why >&2"}, "printed nothing (exit code 0): why\n"},
        {{"/bin/sh", "-c", "echo bad; exit 4"}, "exit code 4: bad\n"},
        {{"/bin/sh", "-c", "echo died; exit 255"}, "exit code 255: died\n"}};
    for (const auto& [failing, text] : failures) {
      const ClientRun failed = AskPlugin(agent, failing);
      EXPECT_TRUE(failed.out.starts_with("PLUGIN UNKNOWN - ")) << failed.out;
      EXPECT_NE(failed.out.find(text), std::string::npos) << failed.out;
      EXPECT_EQ(failed.exit_code, 3);
    }
  }
}

}  // namespace
}  // namespace zem::test
