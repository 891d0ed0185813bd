// SPDX-License-Identifier: BSD-2-Clause
// Which switch admits which command, one switch on at a time, and which handler then answers.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <variant>
#include <vector>

#include "core/agent.h"
#include "dispatch/command_table.h"
#include "dispatch/dispatcher.h"
#include "dispatch/upgrade.h"

namespace zem {
namespace {

using Keys = std::vector<std::string>;

constexpr const char* kNoTest = "600\ntest is not allowed";
constexpr const char* kNoAction = "600\noperation is not allowed";
constexpr const char* kRefused = "600\n";
constexpr const char* kNotYet = "500\nnot implemented yet";
constexpr const char* kNotHere = "500\nNot applicable for UNIX/Linux";

// The keys of the configuration that admit something, and some that sound as if they did.
const Keys kSwitches = {
    "unc",       "foldersize",    "countfiles",   "fileexists",   "filecrc",     "comparefiles",
    "process",   "cpuusage",      "external",     "shellscript",  "tcp",         "udp",
    "textlog",   "executeaction", "tcpudpaction", "syslogaction", "allowmanage", "allowupdates",
    "freespace", "script",        "ping",         "filteractive", "logsuccess",  "logfails"};
const Keys kFileSwitches = {"foldersize", "countfiles",   "fileexists",
                            "filecrc",    "comparefiles", "textlog"};

struct Command {
  const char* request;
  Keys admitted_by;  // any one of them; none: it is always answered
  const char* refusal;
  const char* reply;  // how its own handler's begins
};

const Command kCommands[] = {
    {"TEST-UNC\n/no/such\n", {"unc"}, kNoTest, "301\nNo such file"},
    {"TEST-FolderSize\n/no/such/x\n1\n", {"foldersize"}, kNoTest, "301\nFolder/File doesn`t"},
    {"TEST-CountFiles\n/no/such\n", {"countfiles"}, kNoTest, "301\nFolder doesn`t exist or"},
    {"TEST-FileExists\n/no/such\n", {"fileexists"}, kNoTest, "301\nno such file or acess"},
    {"TEST-FileHash\n/no/such\n1\n", {"filecrc"}, kNoTest, "301\nFile doesn`t exist"},
    {"TEST-FileCompare\n9\n/etc/passwd\n", {"comparefiles"}, kNoTest, "501\nWrong parameter"},
    {"TEST-Process\n\nx\n", {"process"}, kNoTest, "301\nProcCnt script is not speified"},
    {"TEST-CPU\n", {"cpuusage"}, kNoTest, "301\nCPUUsage script is not speified"},
    {"GetProcessesList\n", {"process"}, kNoTest, "301\nProcList script is not speified"},
    {"TEST-ExternalPrg\n", {"external"}, kNoTest, "501\n"},
    {"TEST-ShellScript\n%script%\n\n\n0\n0\n", {"shellscript"}, kNoTest, "301\nScript execution"},
    {"TEST-TCP\n\n1\n1\n\n1\n", {"tcp"}, kNoTest, "301\nCannot resolve server name to IP"},
    {"TEST-UDP\n127.0.0.1\n1\n1\n-1\nx\n1\n", {"udp"}, kNoTest, "301\n\n0\n"},
    {"TEST-TextLog\n", {"textlog"}, kNoTest, kNotYet},
    {"TEST-TextLog2\n", {"textlog"}, kNoTest, kNotYet},
    {"GetFilesList\n/no/such\n", kFileSwitches, kNoTest, "200\n/no/\n0\n2\n"},
    {"ACT-ExternalCmd\n", {"executeaction"}, kNoAction, "501\nCommand line to execute is not"},
    {"ACT-TCPUDPsend\n127.0.0.1\n9\n1\nx\n0\n\n",
     {"tcpudpaction"},
     kNoAction,
     "200\nData has been"},
    {"ACT-Syslog\n127.0.0.1\n9\n1\n1\nx\n", {"syslogaction"}, kNoAction, "200\nSyslog: "},
    {"ReloadCfg\n", {"allowmanage"}, kRefused, "300\nConfiguration file is not specified"},
    {"ReloadApp\n", {"allowmanage"}, kRefused, "restarts 200\nOk"},
    {"QUIT\n", {"allowmanage"}, kRefused, "ends 200\nOk"},
    {"GetSettings\n", {"allowmanage"}, kRefused, "200\nAgentName="},
    {"SetSettings\n", {"allowmanage"}, kRefused, "300\nConfiguration file is not specified"},
    {"UpgradeCode\n1\n", {"allowupdates"}, kRefused, "501\nWrong file parameter(s)"},
    {"GetInfo\n", {}, "", "200\nAgentName="},
    {"GetDriveList\n", {}, "", kNotYet},
    {"TEST-Ping\n", {}, "", kNotYet},
    {"TEST-Script\n", {}, "", kNotYet},
    {"TEST-SNMP\n", {}, "", kNotYet},
    {"TEST-DiskSpace\n", {}, "", kNotHere},
    {"TEST-Service\n", {}, "", kNotHere},
    {"TEST-NTLog\n", {}, "", kNotHere},
    {"TEST-PerfCounter\n", {}, "", kNotHere},
    {"GetServicesList\n", {}, "", kNotHere},
    {"GetEventLogFiles\n", {}, "", kNotHere},
    {"GetEventLogSources\n", {}, "", kNotHere},
};

enum class Peer { kListed, kManager, kUpdater, kUnlisted, kRelayed };
// In that order; the first and the last one stand in both lists.
constexpr const char* kAddresses[] = {"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.1"};

std::string Reply(const Settings& settings, const char* request, Peer peer = Peer::kListed) {
  Agent agent(settings);
  UpgradeContext upgrade(&agent.control);
  SessionRequests requests;
  AgentReply reply;
  const RequestContext context = {.settings = settings,
                                  .peer = inet_addr(kAddresses[static_cast<size_t>(peer)]),
                                  .relayed = peer == Peer::kRelayed,
                                  .session_key = MakeSessionKey("key"),
                                  .store = &agent.settings,
                                  .log = &agent.log,
                                  .control = &agent.control,
                                  .requests = &requests,
                                  .upgrade = &upgrade};
  reply.StartReply({}, context.session_key);
  EXPECT_TRUE(DispatchRequest(std::string(request) + "\r", context, &reply));
  return (requests.terminate ? "ends " : "") + std::string(requests.restart ? "restarts " : "") +
         std::string(reply.Text().View());
}

Settings WithSwitches(const Keys& keys) {
  Settings settings;
  settings.manage_addr = "10.0.0.1,10.0.0.2";
  settings.update_addr = "10.0.0.1,10.0.0.3";
  for (const std::string& key : keys) {
    settings.*std::get<bool Settings::*>(FindSettingByKey(key)->member) = true;
  }
  return settings;
}

TEST(Gates, EachSwitchAdmitsItsOwnCommands) {
  ASSERT_EQ(std::size(kCommands), CommandTable().size());
  for (const std::string& key : kSwitches) {
    const Settings settings = WithSwitches({key});
    for (const Command& c : kCommands) {
      const bool admitted =
          c.admitted_by.empty() || std::ranges::find(c.admitted_by, key) != c.admitted_by.end();
      const std::string reply = Reply(settings, c.request);
      EXPECT_EQ(reply.substr(0, strlen(admitted ? c.reply : c.refusal)),
                admitted ? c.reply : c.refusal)
          << key << " alone, " << c.request << reply;
    }
  }
}

// Whatever is switched on: by its address, or because the agent itself opened the connection. Who
// may manage may not replace the program, nor the other way round.
TEST(Gates, AStrangerManagesNothing) {
  const Settings settings = WithSwitches(kSwitches);
  for (const Peer peer :
       {Peer::kListed, Peer::kManager, Peer::kUpdater, Peer::kUnlisted, Peer::kRelayed}) {
    for (const Command& c : kCommands) {
      const bool updates = c.admitted_by == Keys{"allowupdates"};
      const bool listed =
          peer == Peer::kListed || peer == (updates ? Peer::kUpdater : Peer::kManager);
      const bool refused = c.refusal == kRefused && !listed;
      EXPECT_EQ(Reply(settings, c.request, peer).starts_with(kRefused), refused) << c.request;
    }
  }
}

}  // namespace
}  // namespace zem
