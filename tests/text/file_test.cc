// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "text/file_info.h"
#include "text/path.h"
#include "text/system_error.h"

namespace zem {
namespace {

TEST(Path, IsCutAtItsLastSlash) {
  const struct {
    const char *path, *directory, *name, *with_slash, *without_slash;
  } cases[] = {
      {"/a/b", "/a/", "b", "/a/b/", "/a/b"},
      {"/a/b/", "/a/b/", "", "/a/b/", "/a/b"},
      {"b", "", "b", "b/", "b"},
      {"/", "/", "", "/", ""},
      {"", "", "", "/", ""},
      {"a//b", "a//", "b", "a//b/", "a//b"},
      {"a\\b.c", "", "a\\b.c", "a\\b.c/", "a\\b.c"},
      {"a//", "a//", "", "a//", "a/"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ExtractFilePath(c.path), c.directory) << c.path;
    EXPECT_EQ(ExtractFileName(c.path), c.name) << c.path;
    EXPECT_EQ(IncludeTrailingPathDelimiter(c.path), c.with_slash) << c.path;
    EXPECT_EQ(ExcludeTrailingPathDelimiter(c.path), c.without_slash) << c.path;
  }
  EXPECT_EQ(LastDelimiter("/:", "a:b/c:d"), 6U);
  EXPECT_EQ(LastDelimiter("/", "abc"), 0U);
  EXPECT_EQ(ExtractFileName("/x/" + std::string(5000, 'n')).Length(), 4095U);
}

TEST(SystemError, TellsTheReasonAndKeepsErrno) {
  errno = EACCES;
  EXPECT_EQ(SystemErrorText(ENOENT), "No such file or directory");
  EXPECT_EQ(errno, EACCES);
  (void)SystemErrorText(-12345);
  EXPECT_EQ(errno, EACCES);
}

}  // namespace
}  // namespace zem
