// SPDX-License-Identifier: BSD-2-Clause
// A peer in no list has the agent send requests to itself. They come from this host's address,
// which the lists hold, and are no manager's all the same.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "checks/system/loopback.h"
#include "e2e/agent_process.h"
#include "protocol/cipher.h"

namespace zem::test {
namespace {

using Options = AgentProcess::Options;

std::string AsLine(const std::string& bytes) {
  return Replaced(Replaced(bytes, "\r", "%0D"), "\n", "%0A");
}

size_t Count(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
  return count;
}

// What the inner request was answered, from the reply of the outer TEST-TCP.
std::string InnerReply(const std::string& outer) {
  const size_t line = outer.find('\n', outer.find('\n') + 1) + 1;
  const std::string bytes =
      Replaced(Replaced(outer.substr(line, outer.size() - line - 1), "%0D", "\r"), "%0A", "\n");
  return std::string(DecipherField(bytes.substr(std::min<size_t>(4, bytes.size())), kSessionKey));
}

// With hardly any descriptors the inner connection is accepted when the outer one is long closed.
TEST(RelayedRequests, AreNeverAManagersHoweverTheyAreSent) {
  for (const rlim_t descriptors : {rlim_t{256}, rlim_t{10}}) {
    SCOPED_TRACE(descriptors);
    AgentProcess agent(Options{.switches = {"-i", "-v"},
                               .config = "allowupdates=1\ntcpudpaction=1\ncomment=as it was\n",
                               .before_exec = [descriptors] {
                                 const rlimit limit = {descriptors, descriptors};
                                 setrlimit(RLIMIT_NOFILE, &limit);
                               }});
    const std::string there = "\n127.0.0.1\n" + std::to_string(agent.Port()) + "\n";
    size_t refused = 0;
    for (const char* command : {"GetSettings\n\r", "SetSettings\nComment=changed\n\r",
                                "ReloadCfg\n\r", "QUIT\n\r", "UpgradeCode\n5000\n\r"}) {
      SCOPED_TRACE(command);
      const std::string text = AsLine(Packet(command));
      for (const std::string& outer : {"TEST-TCP" + there + "3000\n" + text + "\n0\n",
                                       "ACT-TCPUDPsend" + there + "0\n" + text + "\n0\n\n"}) {
        EXPECT_EQ(agent.Ask(outer).value_or("").substr(0, 4), "200\n");
        ++refused;
        ASSERT_TRUE(Eventually(
            [&] { return Count(agent.VerboseLog(), "--> request processed (600)") == refused; }));
      }
    }
    EXPECT_EQ(agent.Ask("ReloadCfg\n"), "200\nOk\n") << "from this host itself";
    const std::string settings = agent.Ask("GetSettings\n").value_or("");
    EXPECT_NE(settings.find("Comment=as it was\n"), std::string::npos) << settings;
  }
}

TEST(RelayedRequests, OtherCommandsAndAnOpenPortAreAnsweredAsEver) {
  const AgentProcess agent;
  const std::string there = "TEST-TCP\n127.0.0.1\n" + std::to_string(agent.Port()) + "\n3000\n";
  EXPECT_EQ(agent.Ask(there + "\n0\n").value_or("").substr(0, 4), "200\n");
  const auto inner = [&](const char* text) {
    return InnerReply(agent.Ask(there + AsLine(Packet(text)) + "\n8192\n").value_or(""));
  };
  EXPECT_EQ(inner("TEST-Ping\n\r"), "500\nnot implemented yet\n\r");
  EXPECT_EQ(inner("GetSettings\n\r"), "600\n\r");
}

// The port of a probe that is over may next be that of a manager on this host.
TEST(RelayedRequests, APortIsForgottenOnceNothingCanComeFromItAnyMore) {
  const AgentProcess agent;
  const Bound listener(SOCK_STREAM);
  ASSERT_EQ(listen(listener.Fd(), 1), 0);
  const std::string probe = "TEST-TCP\n127.0.0.1\n" + listener.PortText() + "\n3000\nhello\n1\n";
  auto answer = std::async(std::launch::async, [&] { return agent.Ask(probe); });
  sockaddr_in probing = {};
  socklen_t size = sizeof(probing);
  const int probed = accept(listener.Fd(), reinterpret_cast<sockaddr*>(&probing), &size);
  char text[8];
  EXPECT_EQ(recv(probed, text, sizeof(text), 0), 5);
  close(probed);  // first and without a byte, so the agent's end is free as soon as it is closed
  EXPECT_EQ(answer.get().value_or("").substr(0, 4), "301\n");

  const auto ask = [&]() -> std::string {
    const Connection manager(agent.Port(), "127.0.0.1", ntohs(probing.sin_port));
    (void)manager.Send(Packet("ReloadCfg\n\r"));
    return manager.ReceiveReply().value_or("");
  };
  // The agent looks once a second; who asks from there more often than that keeps the port.
  std::string reply;
  for (int i = 0; i < 8 && reply != "200\nOk\n"; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    reply = ask();
  }
  EXPECT_EQ(reply, "200\nOk\n");
}

}  // namespace
}  // namespace zem::test
