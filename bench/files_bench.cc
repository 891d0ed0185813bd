// SPDX-License-Identifier: BSD-2-Clause
// The file checks as whole requests to the real program, each beside the tool that a person would
// use and, for hashes, beside the bare library; best of several runs taken in turn, warm cache.
// Processor time is shown beside the time on the clock: it tells the two apart also on a machine
// that has other work.
//
//   build/bench/bench/files_bench [folder to work in, default a temporary one] [MiB of the large
//   file,
//                            default 1024] [runs, default 5]
//
// Limits to approach: folder size and count not slower than their tools on 100,000 files; MD5 and
// SHA at 95 % of the library's own rate; the CRC at four times zlib's; the search for a rare word
// not slower than grep's.
#include <fcntl.h>
#include <nettle/md5.h>
#include <nettle/sha2.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "checks/files/crc32_register.h"
#include "e2e/agent_process.h"

namespace {

using zem::test::AgentProcess;

// The bare library works on bytes that stay in the cache.
constexpr size_t kHotBytes = 32 * 1024;

struct Contestant {
  std::string name;
  std::function<void()> run;
  std::function<double()> processor_seconds;
  double best = 1e9;
  double best_processor = 1e9;
};

double ClockSeconds(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double ToolSeconds() {
  rusage used = {};
  getrusage(RUSAGE_CHILDREN, &used);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

double OwnSeconds() {
  return ClockSeconds(CLOCK_PROCESS_CPUTIME_ID);
}

void RunOnce(Contestant* contestant) {
  const double start = ClockSeconds(CLOCK_MONOTONIC);
  const double processor_start = contestant->processor_seconds();
  contestant->run();
  contestant->best = std::min(contestant->best, ClockSeconds(CLOCK_MONOTONIC) - start);
  contestant->best_processor =
      std::min(contestant->best_processor, contestant->processor_seconds() - processor_start);
}

void Fail(const std::string& what) {
  fprintf(stderr, "%s\n", what.c_str());
  exit(1);
}

// Runs all in turn, so that a disturbance hits each alike, and prints the best of each.
void Compare(const std::string& title, double megabytes, int runs,
             std::vector<Contestant> contestants) {
  for (Contestant& c : contestants) c.run();  // warms up
  for (int i = 0; i < runs; ++i) {
    for (Contestant& c : contestants) RunOnce(&c);
  }
  printf("%s\n", title.c_str());
  for (const Contestant& c : contestants) {
    printf("  %-24s %8.1f ms", c.name.c_str(), c.best * 1000);
    if (megabytes > 0) printf(" %7.0f MB/s", megabytes / c.best);
    printf(" %6.2f x the agent;", c.best / contestants[0].best);
    printf(" processor %8.1f ms %6.2f x\n", c.best_processor * 1000,
           c.best_processor / contestants[0].best_processor);
  }
  fflush(stdout);
}

Contestant Request(const AgentProcess& agent, const std::string& request,
                   const std::string& expected) {
  return {"agent",
          [&agent, request, expected] {
            const auto reply = agent.Ask(request);
            if (!reply || reply->compare(0, expected.size(), expected) != 0) {
              Fail("unexpected reply to " + request + ": " + reply.value_or("none"));
            }
          },
          [&agent] {
            clockid_t clock = {};
            if (clock_getcpuclockid(agent.Pid(), &clock) != 0) Fail("no clock of the agent");
            return ClockSeconds(clock);
          }};
}

Contestant Tool(const std::string& command) {
  return {command.substr(0, command.find_first_of(" '")),
          [command] {
            const int status = system(("LC_ALL=C; " + command + " > /dev/null").c_str());
            if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) Fail("failed: " + command);
          },
          ToolSeconds};
}

// As many bytes as the large file has, by the library alone.
template <typename Update>
Contestant Library(const std::string& name, size_t bytes, Update update) {
  return {name,
          [bytes, update] {
            static const std::string hot(kHotBytes, 'h');
            for (size_t done = 0; done < bytes; done += kHotBytes) {
              update(reinterpret_cast<const unsigned char*>(hot.data()));
            }
          },
          OwnSeconds};
}

void MakeTree(const std::string& top) {
  for (int folder = 0; folder < 1000; ++folder) {
    const std::string path = top + "/" + std::to_string(folder / 100) + "/" +
                             std::to_string(folder / 10 % 10) + "/" + std::to_string(folder % 10);
    std::filesystem::create_directories(path);
    for (int i = 0; i < 100; ++i) {
      const std::string name = path + "/file-" + std::to_string(i) + ".log";
      const int file = open(name.c_str(), O_WRONLY | O_CREAT, 0644);
      if (file < 0 || ftruncate(file, i * 37) != 0) Fail("cannot make " + name);
      close(file);
    }
  }
}

// Lines of words as logs have them.
void MakeLargeFile(const std::string& path, size_t bytes) {
  std::mt19937 random(1);
  const char* words[] = {"error ", "connection ", "from ",   "the ",    "10.1.2.3 ", "closed ",
                         "user ",  "session ",    "opened ", "status=", "ok ",       "12:34:56 "};
  std::string block;
  while (block.size() < (1 << 20)) {
    block += words[random() % std::size(words)];
    if (random() % 12 == 0) block += '\n';
  }
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  for (size_t done = 0; done < bytes;) {
    const size_t part = std::min(block.size() - done % 4096, bytes - done);
    const ssize_t written = write(file, block.data() + done % 4096, part);
    if (written <= 0) Fail("cannot write " + path);
    done += static_cast<size_t>(written);
  }
  close(file);
}

void CompareWalks(const AgentProcess& agent, const std::string& tree, int runs) {
  Compare("folder size, 100,000 files in 1,111 folders", 0, runs,
          {Request(agent, "TEST-FolderSize\n" + tree + "\n1\n", "200\n"), Tool("du -sb " + tree)});
  Compare("count of all files", 0, runs,
          {Request(agent, "TEST-CountFiles\n" + tree + "\n*\n1\n0\n", "200\n100000\n"),
           Tool("find " + tree + " -type f | wc -l")});
  Compare("count of files above 1,000 bytes", 0, runs,
          {Request(agent, "TEST-CountFiles\n" + tree + "\n*\n1\n3\n1000\n", "200\n72000\n"),
           Tool("find " + tree + " -type f -size +1000c | wc -l")});
}

void CompareHashes(const AgentProcess& agent, const std::string& path, size_t bytes, int runs) {
  const double megabytes = static_cast<double>(bytes) / 1e6;
  const auto request = [&](const char* algorithm) {
    return Request(agent, "TEST-FileHash\n" + path + "\n" + algorithm + "\n", "200\n");
  };
  md5_ctx md5;
  md5_init(&md5);
  Compare("MD5", megabytes, runs,
          {request("1"),
           Library("library", bytes, [&](const uint8_t* at) { md5_update(&md5, kHotBytes, at); }),
           Tool("md5sum " + path)});
  sha256_ctx sha256;
  sha256_init(&sha256);
  Compare(
      "SHA-256", megabytes, runs,
      {request("2"),
       Library("library", bytes, [&](const uint8_t* at) { sha256_update(&sha256, kHotBytes, at); }),
       Tool("sha256sum " + path)});
  sha512_ctx sha512;
  sha512_init(&sha512);
  Compare(
      "SHA-512", megabytes, runs,
      {request("3"),
       Library("library", bytes, [&](const uint8_t* at) { sha512_update(&sha512, kHotBytes, at); }),
       Tool("sha512sum " + path)});
  uLong crc = 0;
  zem::Crc32Register ours;
  const auto text = [](const unsigned char* at) {
    return std::string_view(reinterpret_cast<const char*>(at), kHotBytes);
  };
  Compare("CRC-32", megabytes, runs,
          {request("0"),
           Library("zlib, bare", bytes, [&](const Bytef* at) { crc = crc32(crc, at, kHotBytes); }),
           Library("the agent's own, bare", bytes,
                   [&](const unsigned char* at) { ours.Update(text(at)); }),
           Tool("python3 -c 'import zlib\nc=0\nf=open(\"" + path +
                "\",\"rb\",0)\nwhile b:=f.read(65536): c=zlib.crc32(b,c)'"),
           Tool("cksum " + path)});
}

void CompareContents(const AgentProcess& agent, const std::string& path, size_t bytes, int runs) {
  const double megabytes = static_cast<double>(bytes) / 1e6;
  const auto search = [&](const std::string& word, const std::string& flags) {
    return Request(agent, "TEST-FileCompare\n3\n" + path + "\n" + word + "\n" + flags, "200\n");
  };
  for (const char* word :
       {"segfault", "connections", "~", "opened status=ok from nowhere at all"}) {
    Compare(std::string("search for \"") + word + "\"", megabytes, runs,
            {search(word, "1\n0\n"), Tool(std::string("grep -c -F '") + word + "' " + path)});
    Compare("  without regard to case", megabytes, runs,
            {search(word, "0\n0\n"), Tool(std::string("grep -c -i -F '") + word + "' " + path)});
  }
  Compare("search for \"onnection\" as a word", megabytes, runs,
          {search("onnection", "1\n1\n"), Tool("grep -c -w -F onnection " + path)});
  const std::string copy = path + ".copy";
  std::filesystem::copy_file(path, copy);
  Compare("comparison of two equal files", megabytes, runs,
          {Request(agent, "TEST-FileCompare\n1\n" + path + "\n" + copy + "\n0\n0\n1\n", "200\n1\n"),
           Tool("cmp " + path + " " + copy)});
}

}  // namespace

int main(int count, char** arguments) {
  const std::string parent = count > 1 ? arguments[1] : std::filesystem::temp_directory_path();
  const size_t mebibytes = count > 2 ? strtoul(arguments[2], nullptr, 10) : 1024;
  const int runs = count > 3 ? atoi(arguments[3]) : 5;
  std::string folder = parent + "/zem-files-bench-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) Fail("cannot work in " + parent);
  const std::string large = folder + "/large";
  const size_t bytes = (mebibytes << 20) + 1;  // no multiple of 20,480, which is never hashed
  MakeTree(folder + "/tree");
  MakeLargeFile(large, bytes);
  {
    const AgentProcess agent;
    CompareWalks(agent, folder + "/tree", runs);
    CompareHashes(agent, large, bytes, runs);
    CompareContents(agent, large, bytes, runs);
  }
  std::filesystem::remove_all(folder);
  return 0;
}
