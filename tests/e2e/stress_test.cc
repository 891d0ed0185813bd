// SPDX-License-Identifier: BSD-2-Clause
// Everything at once: 64 clients with every harmless command and with rubbish, settings that
// change, reloads by signal and by request, restarts and port switches. A reply is whole and right
// or it does not begin, and nothing is left behind.
//
// ZEM_STRESS_SECONDS says for how long, a few seconds unless it is set; ZEM_STRESS_STRANGERS how
// many peers without the password drip and redial beside it, a few dozen unless it is set.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "e2e/agent_process.h"
#include "e2e/strangers.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kClients = 64;
constexpr int kPatienceSeconds = 20;

struct Command {
  std::string request;
  std::string start;  // of every reply to it
};

std::vector<Command> HarmlessCommands(const std::string& dir) {
  const std::string tree = dir + "/tree";
  const std::string file = tree + "/file7";
  const std::string closed = std::to_string(FreePort());
  return {
      {"GetInfo\n", "200\nAgentName="},
      {"GetSettings\n", "200\nAgentName="},
      {"SetSettings\nComment=one\nTimeout=20000\nUNC=1\n", "200\n"},
      {"SetSettings\nComment=a longer remark\nIPFilterAddr=127.0.0.1%0D%0A10.0.0.1\n", "200\n"},
      {"ReloadCfg\n", "200\nOk\n"},
      {"TEST-UNC\n/\n", "200\n"},
      {"TEST-FolderSize\n" + tree + "\n1\n", "200\n  2000\n"},
      {"TEST-CountFiles\n" + tree + "\nfile*\n1\n0\n0\n", "200\n20\n"},
      {"TEST-FileExists\n" + tree + "/%newestfile%\n\n\n\n\n\n1\n", "200\n   100\n"},
      {"TEST-FileHash\n" + file + "\n1\n0\n", "200\naed563ecafb4bcc5654c597a421547b2\n"},
      {"TEST-FileCompare\n1\n" + file + "\n" + tree + "/file8\n0\n1\n1\n", "200\n1\n"},
      {"TEST-FileCompare\n3\n" + file + "\nxxx\n1\n", "200\n1\n"},
      {"GetFilesList\n" + tree + "\n*\n1\n1\n1\n1\n1\n1\n1\n", "200\n" + tree + "/\n21\n5\n"},
      {"TEST-Process\n\nno such program\n", "200\n0\n"},
      {"GetProcessesList\n", "200\n"},
      {"TEST-CPU\n", "200\n"},
      {"TEST-ExternalPrg\nsh -c 'exit 7'\n\n\n0\n", "200\n7\n"},
      {"TEST-ShellScript\nsh %script% -\necho hello\n\n1\n20000\n", "200\nhello\n"},
      {"TEST-TCP\n127.0.0.1\n" + closed + "\n1000\n\n1\n", "301\n"},
      {"TEST-UDP\n127.0.0.1\n" + closed + "\n1000\n1\nx\n1\n", "301\n"},
      {"ACT-ExternalCmd\ntrue\n\n\n", "200\n"},
      {"ACT-Syslog\n127.0.0.1\n" + closed + "\n1\n1\nx\n", "200\nSyslog: Data to 127.0.0.1"},
      {"ACT-TCPUDPsend\n127.0.0.1\n" + closed + "\n0\nx\n0\n\n", "301\n"},
      {"TEST-Ping\n127.0.0.1\n", "500\nnot implemented yet\n"},
      {"No such command\n", "500\n"},
  };
}

class Storm {
 public:
  Storm(const std::vector<Command>& commands, int port) : commands_(commands), port_(port) {
    for (unsigned i = 0; i < kClients; ++i) {
      clients_.emplace_back([this, i] {
        std::mt19937 random(i);
        while (!stop_) AskOrAnnoy(static_cast<unsigned>(random()));
      });
    }
  }
  ~Storm() { Stop(); }

  void UsePort(int port) { port_ = port; }
  void Stop() {
    stop_ = true;
    for (std::thread& client : clients_) client.join();
    clients_.clear();
  }
  int Answered() const { return answered_; }
  // Somebody waited for a reply in vain and was not told so.
  bool HasUnanswered() const { return unanswered_; }
  // Requests that got a reply which is not theirs or is torn, with the last such reply.
  const std::map<std::string, std::string>& Wrong() const { return wrong_; }
  const std::map<std::string, int>& Right() const { return right_; }

 private:
  void AskOrAnnoy(unsigned dice) {
    const Connection connection(port_);
    if (!connection.IsOpen()) return;
    const Command& command = commands_[dice % commands_.size()];
    const std::string packet = Packet(command.request + "\r");
    switch (dice / 1024 % 16) {
      case 0:
        (void)connection.Send(std::string(200, static_cast<char>(dice)));  // rubbish
        return;
      case 1:
        (void)connection.Send(packet.substr(0, dice / 16384 % packet.size()));  // half a request
        return;
      case 2:
        (void)connection.Send(packet);  // and gone before the reply
        return;
      default:
        if (connection.Send(packet)) Judge(command, connection);
    }
  }

  void Judge(const Command& command, const Connection& connection) {
    char first = 0;
    const timeval patience = {kPatienceSeconds, 0};
    setsockopt(connection.Fd(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    const ssize_t got = recv(connection.Fd(), &first, 1, MSG_PEEK);
    if (got < 0 && errno == EAGAIN) unanswered_ = true;
    if (got <= 0) return;  // closed: a restart
    const std::string reply = connection.ReceiveReply().value_or("(torn)");
    const std::lock_guard<std::mutex> lock(mutex_);
    ++answered_;
    ++right_[command.request];
    if (reply.rfind(command.start, 0) != 0) wrong_[command.request] = reply;
  }

  const std::vector<Command>& commands_;
  std::atomic<int> port_;
  std::atomic<bool> stop_{false};
  std::atomic<int> answered_{0};
  std::atomic<bool> unanswered_{false};
  std::mutex mutex_;
  std::map<std::string, std::string> wrong_;
  std::map<std::string, int> right_;
  std::vector<std::thread> clients_;
};

int Chosen(const char* variable, int otherwise) {
  const char* text = getenv(variable);
  return text != nullptr ? atoi(text) : otherwise;
}

std::chrono::seconds Duration() {
  return std::chrono::seconds(Chosen("ZEM_STRESS_SECONDS", 4));
}

void SwitchPort(AgentProcess* agent, Storm* storm, Strangers* strangers) {
  const int next = FreePort();
  const std::string request = "SetSettings\nPort=" + std::to_string(next) + "\n";
  // The answer may be lost to a restart that is just under way; the switch then is still to come.
  EXPECT_TRUE(Eventually([&] { return agent->Ask(request) == "200\n"; }));
  agent->UsePort(next);
  storm->UsePort(next);
  strangers->UsePort(next);
  EXPECT_TRUE(Eventually([&] { return agent->Answers(); }));
}

TEST(Stress, EveryCommandAmidReloadsRestartsAndPortSwitches) {
  const TempDir dir;
  mkdir((dir / "tree").c_str(), 0755);
  for (int i = 0; i < 20; ++i) {
    WriteFile(dir / ("tree/file" + std::to_string(i)), std::string(100, 'x'));
  }
  std::string config = "timeout=20000\nexecuteaction=1\ntcpudpaction=1\nsyslogaction=1\n";
  config += "proccntscript=" + HelpersPath() + "/zem-proccount\n";
  config += "proclistscript=" + HelpersPath() + "/zem-proclist\n";
  config += "cpuusagescript=" + HelpersPath() + "/zem-cpuusage\n";
  const std::string report = "log_path=" + (dir / "report");
  AgentProcess agent(Options{.switches = {"-d"},
                             .config = config,
                             .environment = {"ASAN_OPTIONS=" + report, "TSAN_OPTIONS=" + report,
                                             "UBSAN_OPTIONS=" + report}});
  ASSERT_TRUE(agent.Answers());
  const size_t descriptors = agent.OpenDescriptors();

  const std::vector<Command> commands = HarmlessCommands(dir.Path());
  Storm storm(commands, agent.Port());
  const auto crowd = static_cast<size_t>(Chosen("ZEM_STRESS_STRANGERS", 30));
  std::optional<Strangers> strangers(std::in_place, agent.Port(), crowd);
  // Each client and each stranger has a session or two, and no check opens many files.
  const size_t most_descriptors = descriptors + 8 * kClients + 4 * crowd;
  const auto end = Clock::now() + Duration();
  for (int round = 0; Clock::now() < end && !testing::Test::HasFailure(); ++round) {
    std::this_thread::sleep_for(700ms);
    switch (round % 4) {
      case 0:
        SwitchPort(&agent, &storm, &*strangers);
        break;
      case 2:
        EXPECT_TRUE(Eventually([&] { return agent.Ask("ReloadApp\n") == "200\nOk\n"; }));
        EXPECT_TRUE(Eventually([&] { return agent.Answers(); }));
        break;
      default:
        agent.Signal(SIGHUP);
    }
    EXPECT_LE(agent.OpenDescriptors(), most_descriptors);
    EXPECT_FALSE(storm.HasUnanswered());
  }
  if (testing::Test::HasFailure()) agent.Signal(SIGKILL);  // or the clients wait for it
  storm.Stop();
  strangers.reset();
  if (testing::Test::HasFailure()) return;
  RecordProperty("answered", storm.Answered());
  printf("%d answered\n", storm.Answered());
  for (const auto& [request, reply] : storm.Wrong()) ADD_FAILURE() << request << reply;
  if (Duration() > 30s) {
    EXPECT_EQ(storm.Right().size(), commands.size()) << "every command was answered at least once";
  }

  EXPECT_TRUE(Eventually([&] { return agent.Answers(); }));
  EXPECT_TRUE(Eventually([&] { return agent.OpenDescriptors() <= descriptors + 2; }))
      << agent.OpenDescriptors() << " descriptors, " << descriptors << " at first";
  EXPECT_TRUE(Eventually([&] { return agent.Children().empty(); }));
  EXPECT_EQ(agent.Ask("QUIT\n"), "200\nOk\n");
  EXPECT_TRUE(Eventually([&] { return !Connection(agent.Port()).IsOpen(); }));
  for (const std::string& name : ListDir(dir.Path())) {
    if (name != "tree") ADD_FAILURE() << ReadFile(dir / name);
  }
}

}  // namespace
}  // namespace zem::test
