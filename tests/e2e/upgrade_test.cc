// SPDX-License-Identifier: BSD-2-Clause
// The replacement of the agent's own program, end to end.
#include <gtest/gtest.h>
#ifdef __linux__
#include <sched.h>
#include <sys/mount.h>
#endif
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "e2e/agent_process.h"
#include "protocol/cipher.h"
#include "protocol/digest.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;

std::string Md5(std::string_view bytes) {
  RunningMd5 md5;
  md5.Update(bytes);
  return std::string(md5.Finish().View());
}

std::string Enciphered(std::string_view bytes) {
  return std::string(EncipherText(bytes, kSessionKey).View());
}

// Lets the agent take in what was sent, so that what follows is a receive of its own.
void Drain() {
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
}

// The program that the agent runs from is a copy that may be replaced.
class Upgrade : public testing::Test {
 protected:
  void Start(const std::string& mode) {
    program_ = dir_ / "zem";
    WriteFile(program_, ReadFile(ProgramPath()));
    chmod(program_.c_str(), 0755);
    agent_.emplace(Options{.switches = {mode, "-v"}, .zempath = program_});
    ASSERT_TRUE(agent_->Answers());
  }

  // Sends the request and answers what the agent said to it.
  std::string Announce(const Connection& connection, const std::string& size) {
    if (!connection.Send(Packet("UpgradeCode\n" + size + "\n\r"))) return "(not sent)";
    return connection.ReceiveReply().value_or("(closed)");
  }

  std::string Transfer(const std::string& program, const std::string& trailer) {
    const Connection connection(agent_->Port());
    std::string answer = Announce(connection, std::to_string(program.size()));
    if (answer != "200\n") return answer;
    if (!connection.Send(program)) return "(program not sent)";
    Drain();
    if (!connection.Send(trailer)) return "(digest not sent)";
    return connection.ReceiveReply().value_or("(closed)");
  }

  bool TempIsEmpty() const { return ListDir(agent_->TempPath()).empty(); }

  TempDir dir_;
  std::string program_;
  std::optional<AgentProcess> agent_;
};

TEST_F(Upgrade, TheNewProgramAnswersWithTheSameConfiguration) {
  // Another build of the program: the same code and a mark at its end.
  const std::string new_program = ReadFile(ProgramPath()) + "another build";
  if (new_program.size() >= 0xA00000) GTEST_SKIP() << "an instrumented program is too large";
  for (const char* mode : {"-i", "-d"}) {
    SCOPED_TRACE(mode);
    Start(mode);
    EXPECT_EQ(Transfer(new_program, Enciphered(Md5(new_program))), "200\n");
    ASSERT_TRUE(Eventually([&] { return ReadFile(program_) == new_program; }));
    ASSERT_TRUE(Eventually([&] { return agent_->Answers(); }));
    EXPECT_NE(agent_->VerboseLog().find("Upgrade request received. Executing..\n"),
              std::string::npos);
    EXPECT_FALSE(FileExists(agent_->TempPath() + "/zem__.upd"));
    EXPECT_EQ(agent_->Ask("QUIT\n"), "200\nOk\n");
    EXPECT_TRUE(Eventually([&] { return TempIsEmpty(); })) << "the script removes itself";
    agent_.reset();
  }
}

TEST_F(Upgrade, WhatIsRefusedLeavesTheOldAgentAlone) {
  Start("-i");
  const std::string program(5000, 'p');
  const std::string good = Md5(program);
  EXPECT_EQ(Transfer(program, Enciphered(Md5("other"))), "300\nWrong CRC\n");
  EXPECT_EQ(Transfer(program, good), "300\nWrong CRC\n") << "the digest has to be enciphered";
  EXPECT_EQ(Transfer(program, Enciphered(good.substr(0, 15))), "300\nWrong CRC\n");
  EXPECT_EQ(Transfer(program, Enciphered(good + "x")), "300\nWrong CRC\n");
  EXPECT_EQ(agent_->Ask("SetSettings\nTimeout=2000\n"), "200\n");
  {
    const Connection cut(agent_->Port());
    EXPECT_EQ(Announce(cut, "5000"), "200\n");
    EXPECT_TRUE(cut.Send(program.substr(0, 3000)));
    const Connection second(agent_->Port());
    EXPECT_EQ(Announce(second, "5000"), "302\n") << "one at a time";
    EXPECT_TRUE(second.ClosesWithin(30'000));
    EXPECT_FALSE(cut.ClosesWithin(3200)) << "the limit of silence ends with the request";
  }
  EXPECT_TRUE(Eventually([&] { return TempIsEmpty(); })) << "a dropped line frees the slot";
  // A planted link under the file's name is replaced, never written through.
  WriteFile(dir_ / "victim", "untouched");
  ASSERT_EQ(symlink((dir_ / "victim").c_str(), (agent_->TempPath() + "/zem__.upd").c_str()), 0);
  EXPECT_EQ(Transfer(program, Enciphered(Md5("other"))), "300\nWrong CRC\n");
  EXPECT_EQ(ReadFile(dir_ / "victim"), "untouched");
  EXPECT_TRUE(TempIsEmpty());
  EXPECT_EQ(ReadFile(program_), ReadFile(ProgramPath()));
  EXPECT_TRUE(agent_->Answers());
}

TEST_F(Upgrade, AnExitInTheMiddleLeavesNoFileBehind) {
  for (const char* request : {"ReloadApp\n", "QUIT\n"}) {
    SCOPED_TRACE(request);
    Start("-d");
    const Connection connection(agent_->Port());
    ASSERT_EQ(Announce(connection, "5000"), "200\n");
    ASSERT_TRUE(connection.Send("the first bytes"));
    ASSERT_FALSE(TempIsEmpty());
    EXPECT_EQ(agent_->Ask(request), "200\nOk\n");
    EXPECT_TRUE(Eventually([&] { return TempIsEmpty(); }));
  }
}

#ifdef __linux__
class UpgradeOnDisk : public Upgrade {
 protected:
  // The agent sees a disk of its own there, with a program on it.
  bool StartWithDisk(unsigned long flags, const std::string& config) {
    constexpr int kCannotMount = 77;
    mkdir(disk_.c_str(), 0700);
    const auto mount_disk = [flags, disk = disk_] {
      if (unshare(CLONE_NEWNS) != 0 ||
          mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
          mount("zem", disk.c_str(), "tmpfs", flags, "size=64k") != 0) {
        _exit(kCannotMount);
      }
      WriteFile(disk + "/zem", std::string(4096, 'z'));
    };
    agent_.emplace(Options{.config = config, .zempath = disk_ + "/zem", .before_exec = mount_disk});
    return !agent_->HasExited() || agent_->WaitForExit() != kCannotMount;
  }

  const std::string disk_ = dir_ / "disk";
};

// The script removes the old program before it copies the new one to the same disk.
TEST_F(UpgradeOnDisk, NeedsRoomForTheNewProgramBesideTheOldOne) {
  if (!StartWithDisk(0, "")) GTEST_SKIP() << "only the superuser mounts a small disk";
  const Connection refused(agent_->Port());
  EXPECT_EQ(Announce(refused, "61440"), "300\nWrite error\n");
  EXPECT_TRUE(TempIsEmpty());
  const std::string program(61'439, 'p');
  EXPECT_EQ(Transfer(program, Enciphered(Md5("other"))), "300\nWrong CRC\n") << "it has room";
  const Connection connection(agent_->Port());
  ASSERT_EQ(Announce(connection, "61439"), "200\n");
  ASSERT_TRUE(connection.Send(program));
  Drain();
  WriteFile("/proc/" + std::to_string(agent_->Pid()) + "/root" + disk_ + "/filler",
            "takes a block");
  ASSERT_TRUE(connection.Send(Enciphered(Md5(program))));
  EXPECT_EQ(connection.ReceiveReply(), "300\nWrite error\n");
  EXPECT_TRUE(TempIsEmpty());
}

// An agent that fails to execute the script has closed its listening socket by then, for good.
TEST_F(UpgradeOnDisk, NeedsATemporaryFolderInWhichAScriptCanRun) {
  if (!StartWithDisk(MS_NOEXEC, "tmpdir=" + disk_ + "\n")) {
    GTEST_SKIP() << "only the superuser mounts a disk without programs";
  }
  const std::string program(5000, 'p');
  EXPECT_EQ(Transfer(program, Enciphered(Md5(program))), "300\nCannot set exec flag for script\n");
  EXPECT_TRUE(agent_->Answers());
}
#endif

TEST_F(Upgrade, SizesAtTheBounds) {
  Start("-i");
  for (const char* size : {"101", "10485759", "5000 and more"}) {
    SCOPED_TRACE(size);
    EXPECT_TRUE(Eventually([&] {
      const Connection connection(agent_->Port());
      return Announce(connection, size) == "200\n";
    }));
  }
  EXPECT_TRUE(Eventually([&] { return TempIsEmpty(); }));
  for (const char* size : {"10485760", "99999999999999999999", "-5", "", "x"}) {
    SCOPED_TRACE(size);
    EXPECT_TRUE(Eventually([&] {
      const Connection connection(agent_->Port());
      if (Announce(connection, size) != "501\nWrong file parameter(s)\n") return false;
      // The session stays open and holds the slot; whatever arrives on it fails and frees it.
      const Connection second(agent_->Port());
      EXPECT_EQ(Announce(second, "5000"), "302\n");
      EXPECT_TRUE(connection.Send("bytes"));
      EXPECT_EQ(connection.ReceiveReply(), "300\nWrong CRC\n");
      return true;
    }));
  }
  const Connection last(agent_->Port());
  EXPECT_EQ(Announce(last, "100"), "501\nWrong file parameter(s)\n");
  EXPECT_TRUE(TempIsEmpty());
}

}  // namespace
}  // namespace zem::test
