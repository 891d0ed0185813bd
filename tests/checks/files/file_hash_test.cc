// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/file_hash.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include "checks/files/crc32_register.h"
#include "temp_dir.h"

namespace zem {
namespace {

std::string HashOrError(const std::string& path, HashAlgorithm algorithm) {
  OvString hash;
  OvString error;
  return std::string((HashFile(OvString(path), algorithm, &hash, &error) ? hash : error).View());
}

// One bit at a time, as the polynomial says.
uint32_t SlowRegister(std::string_view bytes) {
  uint32_t value = 0xFFFFFFFF;
  for (const char byte : bytes) {
    value ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      value = (value & 1) != 0 ? (value >> 1) ^ 0xEDB88320 : value >> 1;
    }
  }
  return value;
}

TEST(Crc32Register, EqualsTheDefinition) {
  std::mt19937 random(7);
  std::string bytes(1100, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  for (size_t length = 0; length <= bytes.size(); length += length < 300 ? 1 : 37) {
    const std::string_view part = std::string_view(bytes).substr(0, length);
    const uint32_t expected = SlowRegister(part);
    Crc32Register split;
    split.Update(part.substr(0, length / 3));
    split.Update(part.substr(length / 3));
    EXPECT_EQ(split.Value(), expected) << length;
  }
}

TEST(FileHash, PublishedVectors) {
  TempDir top;
  WriteFile(top / "digits", "123456789");
  WriteFile(top / "abc", "abc");
  EXPECT_EQ(HashOrError(top / "digits", HashAlgorithm::kCrc32), "873187033");
  EXPECT_EQ(HashOrError(top / "abc", HashAlgorithm::kMd5), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(HashOrError(top / "abc", HashAlgorithm::kSha256),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(HashOrError(top / "abc", HashAlgorithm::kSha512),
            "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
            "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
}

// The lengths that never could be read, and their neighbours; 327,680 is a multiple of the present
// block as well.
TEST(FileHash, MultiplesOf20480AreReadErrors) {
  TempDir top;
  for (const size_t length : {0u, 20480u, 40960u, 327680u, 1u, 20479u, 20481u, 65536u, 327681u}) {
    const std::string contents(length, 'z');
    WriteFile(top / "file", contents);
    const bool refused = length % 20480 == 0;
    for (int algorithm = 0; algorithm <= 3; ++algorithm) {
      const std::string hash = HashOrError(top / "file", static_cast<HashAlgorithm>(algorithm));
      EXPECT_EQ(hash == "Read error", refused) << length;
      if (algorithm == 0 && !refused) {
        EXPECT_EQ(hash, std::to_string(SlowRegister(contents)));
      }
    }
  }
}

#if defined(F_SETLEASE)
// File servers take leases on what their clients have open. To open such a file is to wait until
// the holder has given way.
TEST(FileHash, FileUnderALease) {
  TempDir top;
  WriteFile(top / "file", "123456789");
  const int holder = open((top / "file").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(holder, 0);
  const auto previous = signal(SIGIO, SIG_IGN);  // how the holder is told
  if (fcntl(holder, F_SETLEASE, F_WRLCK) == 0) {
    std::thread gives_way([holder] {
      std::this_thread::sleep_for(std::chrono::milliseconds(250));
      fcntl(holder, F_SETLEASE, F_UNLCK);
    });
    EXPECT_EQ(HashOrError(top / "file", HashAlgorithm::kCrc32), "873187033");
    gives_way.join();
  }
  close(holder);
  signal(SIGIO, previous);
}
#endif

}  // namespace
}  // namespace zem
