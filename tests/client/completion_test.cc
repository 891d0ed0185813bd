// SPDX-License-Identifier: BSD-2-Clause
// What a shell offers at each place of a command line.
#include "app/options.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

#include "client/client_run.h"
#include "temp_dir.h"

namespace zem::client {
namespace {

// The candidates without their help, blanks between them.
std::string Offered(const std::vector<std::string>& words) {
  const std::string lines = CompletionLines(words, "/nonexistent");
  std::string offered;
  for (size_t at = 0; at < lines.size(); at = lines.find('\n', at) + 1) {
    offered += (at == 0 ? "" : " ") + lines.substr(at, lines.find('\t', at) - at);
  }
  return offered;
}

TEST(CompletionTest, OffersWhatThePlaceTakes) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"zemctl", "re"}, "reload restart"},
      {{"/usr/lib/check_zem", "re"}, ""},  // no checks
      {{"zemctl", "-p", "5", "-v", "settings", ""}, "get set"},
      {{"zemctl", "settings", "set", "Log"}, "LogOkConn= LogBadConn="},
      {{"zemctl", "hash", "--alg", "sha"}, "sha256 sha512"},
      {{"zemctl", "hash", "/x", "--a"}, "--alg --agent-config"},
      {{"zemctl", "-o", ""}, "table json raw"},
      {{"zemctl", "--password-file", "/r"}, ":files"},
      {{"zemctl", "script", ""}, ":files"},
      {{"zemctl", "script", "x", ""}, ""},
      {{"zemctl", "run", "--no"}, "--no-wait --no-password"},
      {{"zemctl", "run", "x", "--no"}, ""},  // an option of x
      {{"zemctl", "nonsense", ""}, ""},
  };
  for (const auto& [words, offered] : cases) EXPECT_EQ(Offered(words), offered) << words.back();
}

// A shell may expand what it is offered.
TEST(CompletionTest, OffersPlainHostsOfAFileThatIsTheUsersAlone) {
  const TempDir folder;
  setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1);
  std::filesystem::create_directory(folder / "zem");
  const std::string path = folder / "zem/hosts.conf";
  WriteFile(path, "[web1]\n[$(touch x)]\n[`x`]\n[web?]\n[a b]\n[web-2.net]\n[db]\n[@g]\n");
  chmod(path.c_str(), 0600);
  EXPECT_EQ(Offered({"zemctl", "-H", "web"}), "web1 web-2.net");
  EXPECT_EQ(Offered({"zemctl", "-H", "db,d"}), "db,db");
  EXPECT_EQ(Offered({"zemctl", "-H", ""}), "web1 web-2.net db @g");
  chmod(path.c_str(), 0602);
  EXPECT_EQ(Offered({"zemctl", "-H", ""}), "");
  unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace zem::client
