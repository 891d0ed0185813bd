// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/temp_names.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "checks/system/scratch.h"

namespace zem {
namespace {

struct FreshName {
  int64_t id = 0;
  int64_t suffix = 0;
};

FreshName TakeFreshName() {
  char path[512];
  EXPECT_TRUE(MakeTempName(path, sizeof(path), nullptr));
  FreshName name;
  EXPECT_EQ(sscanf(strrchr(path, '/'), "/tmp-%" SCNd64 "-%" SCNd64, &name.id, &name.suffix), 2)
      << path;
  return name;
}

TEST(TempNames, StandInTheTemporaryDirectory) {
  char path[512];
  Scratch::Use("/var/tmp");
  ASSERT_TRUE(MakeTempName(path, sizeof(path), nullptr));
  EXPECT_EQ(std::string(path).rfind("/var/tmp/tmp-", 0), 0u) << path;
  ASSERT_TRUE(MakeTempName(path, sizeof(path), "given.txt"));
  EXPECT_STREQ(path, "/var/tmp/given.txt");
  unsetenv("TMPDIR");
  setenv("TMP", "/other", 1);
  ASSERT_TRUE(MakeTempName(path, sizeof(path), "n"));
  EXPECT_STREQ(path, "/other/n");
  unsetenv("TMP");
  ASSERT_TRUE(MakeTempName(path, sizeof(path), "n"));
  EXPECT_STREQ(path, "./n");
}

TEST(TempNames, TryNineteenHundredNinetyNineCandidatesAndNoMore) {
  const Scratch scratch;
  const FreshName last = TakeFreshName();
  // Links are made faster than files.
  WriteFile(scratch / "file", "taken");
  const auto name = [&](int64_t call, int64_t candidate) {
    return scratch.Temp() + "/tmp-" + std::to_string(last.id + call) + "-" +
           std::to_string(last.suffix + candidate);
  };
  const auto occupy = [&](int64_t call, int64_t first, int64_t end) {
    for (int64_t i = first; i <= end; ++i) {
      std::filesystem::create_hard_link(scratch / "file", name(call, i));
    }
  };
  // The 1,999th is taken when it is free, and a folder of a candidate's name does not count.
  char path[512];
  occupy(1, 1, 1998);
  std::filesystem::create_directory(name(1, 1999));
  ASSERT_TRUE(MakeTempName(path, sizeof(path), nullptr));
  EXPECT_EQ(path, name(1, 1999));
  occupy(2, 2000, 3998);
  EXPECT_FALSE(MakeTempName(path, sizeof(path), nullptr));
  EXPECT_STREQ(path, "");
}

}  // namespace
}  // namespace zem
