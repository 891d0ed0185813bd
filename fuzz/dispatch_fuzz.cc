// SPDX-License-Identifier: BSD-2-Clause
// A whole deciphered request through the dispatcher, with every permission given. Behind the byte
// 0x1e stands what the outside world answers: a program's output, a socket's reply, the program of
// an upgrade.
//
// Files are those of a sandbox: the lines that hold paths are kept inside. No command is left out:
// what would leave the process is played by outside.cc, and a restart, a stop or an upgrade is only
// noted by its handler. Every input gets an agent of its own, and what it left is looked for.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "core/agent.h"
#include "core/config_file.h"
#include "dispatch/command_table.h"
#include "dispatch/dispatcher.h"
#include "dispatch/upgrade.h"
#include "fuzz.h"
#include "outside.h"
#include "protocol/digest.h"
#include "protocol/packet.h"
#include "protocol/zem_const.h"
#include "reply_form.h"
#include "sandbox.h"
#include "text/file_info.h"
#include "text/numbers.h"

namespace zem {
namespace {

constexpr char kOutsideFollows = 0x1e;
// For temporary files. No name that the root of a file system has: a mask without a folder measures
// sub-folders of the working directory by their names in the root.
constexpr const char* kMade = "made";
constexpr size_t kReceiveBytes = 1024;
constexpr size_t kLongestLogEntry = 511;

// Which lines of a request are paths. Masks are names only and lead nowhere.
struct PathLines {
  std::string_view word;
  size_t lines[2];
};
constexpr PathLines kPathLines[] = {
    {"TEST-UNC", {1, 0}},         {"TEST-FolderSize", {1, 0}}, {"TEST-FileExists", {1, 0}},
    {"TEST-FileCompare", {2, 3}}, {"TEST-FileHash", {1, 0}},   {"TEST-CountFiles", {1, 0}},
    {"GetFilesList", {1, 0}},
};

std::string ConfigText(const std::string& folder) {
  std::string text =
      "# the agent under test\nport=1055\npassword=secret\ntimeout=4000\ncomment=a comment\n"
      "filtermarks=10\nfilterlist=127.0.0.1 10.0.0.1\nmanageaddr=127.0.0.1\nupdateaddr=127.0.0.1\n"
      "executeaction=1\ntcpudpaction=1\nsyslogaction=1\nbadlogfile=bad.log\ndelayforscripts=0\n";
  for (const char* line : {"zempath=/zem", "tmpdir=/made", "cpuusagescript=/script",
                           "proclistscript=/script", "proccntscript=/script"}) {
    const char* value = strchr(line, '=') + 1;
    text.append(line, value).append(folder).append(value).append("\n");
  }
  return text;
}

// Made once. The settings come from the file that requests can change.
struct Stage {
  Stage() : config_text(ConfigText(sandbox.Folder())), key(MakeSessionKey("key")) {
    FUZZ_CHECK(mkdir(sandbox.Files().Path(kMade).c_str(), 0755) == 0);
    sandbox.Files().Write("zem", "");
    sandbox.Files().Write("script", "");
    sandbox.Files().Write("bad.log", "");
    ResetConfig();
    settings.config_path = ConfigPath();
    OvString error;
    FUZZ_CHECK(LoadSettings(&settings, &error) && error.IsEmpty());
    tree_state = sandbox.TreeState();
  }

  OvString ConfigPath() const { return OvString(sandbox.Files().Path("zem.cfg")); }
  uint64_t ConfigState() const {
    struct stat info;
    FUZZ_CHECK(StatPath(ConfigPath(), &info));
    return info.st_ino * 31 + static_cast<uint64_t>(info.st_mtim.tv_nsec);
  }
  void ResetConfig() {
    sandbox.Files().Write("zem.cfg", config_text);
    config_state = ConfigState();
  }

  const Sandbox sandbox;
  const std::string config_text;
  const SessionKeyPtr key;
  uint64_t config_state = 0;
  uint64_t tree_state = 0;
  Settings settings;
};

Stage& TheStage() {
  static Stage stage;
  return stage;
}

std::string Confined(std::string_view word, std::string_view request, const Sandbox& sandbox) {
  const auto* row = std::find_if(std::begin(kPathLines), std::end(kPathLines),
                                 [word](const PathLines& each) { return each.word == word; });
  if (row == std::end(kPathLines)) return std::string(request);
  std::string confined;
  for (size_t number = 0; !request.empty(); ++number) {
    const size_t end = std::min(request.find('\n'), request.size());
    const std::string_view line = request.substr(0, end);
    const bool is_path = number != 0 && (number == row->lines[0] || number == row->lines[1]);
    // To this command a bare name that is no folder, or none at all, means the root.
    const bool bare = word == "GetFilesList" && line.find('/') == line.npos;
    if (is_path && bare) confined += sandbox.Folder() + "/";
    confined += is_path ? sandbox.Confined(bare ? Trimmed(line) : line) : std::string(line);
    if (end < request.size()) confined += '\n';
    request.remove_prefix(std::min(end + 1, request.size()));
  }
  return confined;
}

bool IsSame(const SettingRow& row, const Settings& a, const Settings& b) {
  return std::visit([&](auto member) { return a.*member == b.*member; }, row.member);
}

// Only its own command changes a setting, and only one that has a name on the wire.
void CheckSettings(std::string_view word, const Settings& before, const Settings& after) {
  for (const SettingRow& row : SettingsTable()) {
    if (word == "SetSettings" && !row.wire_name.empty()) continue;
    FUZZ_CHECK(IsSame(row, before, after));
  }
  FUZZ_CHECK(before.allow_list == after.allow_list);
  FUZZ_CHECK(before.config_path == after.config_path);
}

// Quicker than to list it: a folder that is not empty cannot be removed.
void CheckNothingLeftIn(const std::string& folder) {
  FUZZ_CHECK(rmdir(folder.c_str()) == 0);
  FUZZ_CHECK(mkdir(folder.c_str(), 0755) == 0);
}

// What a peer sends after an accepted upgrade. Programs of a few kilobytes are sent whole, with
// the right digest unless the bytes begin with "(".
void SendProgram(std::string_view request, std::string_view bytes, UpgradeContext* upgrade) {
  constexpr int64_t kTooSmall = 100;
  constexpr int64_t kSmall = 4096;
  const int64_t size = ParseInt64(AgentRequest(request.substr(request.find('\n') + 1)).GetLine(1));
  std::string sent(bytes);
  const bool whole = size > kTooSmall && size <= kSmall && !bytes.empty();
  if (whole) {
    while (sent.size() < static_cast<size_t>(size)) sent += sent;
    sent.resize(static_cast<size_t>(size));
  }
  OvString error;
  bool good = true;
  for (std::string_view rest = sent; !rest.empty() && upgrade->IsActive();) {
    const size_t count = std::min(rest.size(), kReceiveBytes);
    good = upgrade->ReceiveUpgrade(rest.substr(0, count), &error);
    rest.remove_prefix(count);
  }
  if (whole) {
    RunningMd5 digest;
    digest.Update(sent);
    OvString trailer;
    const OvString sum = digest.Finish();
    TheStage().key->Schedule().Encipher(sum, trailer.Resize(sum.Length()));
    const bool lie = bytes.starts_with('(');
    if (lie) trailer.Resize(trailer.Length())[3] ^= 1;
    good = upgrade->ReceiveUpgrade(trailer, &error);
    FUZZ_CHECK(good != lie && !upgrade->IsActive());
  }
  FUZZ_CHECK(good == error.IsEmpty());
}

// As the main thread would: the files of an upgrade that went well are its own to remove.
void FinishUpgrade(Agent* agent, UpgradeContext* upgrade) {
  upgrade->HandOver();
  const OvString script = agent->control.UpgradePath();
  if (script.IsEmpty()) return;
  FUZZ_CHECK(RemoveFile(script));
  FUZZ_CHECK(RemoveFile(OvString(TheStage().sandbox.Files().Path("made/zem__.upd"))));
  agent->control.ClearUpgrade();
}

void CheckLog(bool expected, const Stage& stage) {
  const std::string path = stage.sandbox.Files().Path("bad.log");
  const int64_t size = FileSize(OvString(path));
  FUZZ_CHECK(size <= static_cast<int64_t>(kLongestLogEntry));
  FUZZ_CHECK(size > 0 ? expected : !expected);
  if (size > 0) FUZZ_CHECK(truncate(path.c_str(), 0) == 0);
}

void CheckSeal(AgentReply* reply, const Stage& stage) {
  const OvString packet = reply->SealReply();
  FUZZ_CHECK(packet.Length() == kReplyHeaderBytes + reply->Text().Length());
  FUZZ_CHECK(DecodeLength(packet.CStr(), kReplyHeaderBytes) == reply->Text().Length());
  std::string opened(reply->Text().Length(), '\0');
  stage.key->Schedule().Decipher(packet.View().substr(kReplyHeaderBytes), opened.data());
  FUZZ_CHECK(reply->Text() == opened);
}

void Request(std::string_view request, std::string_view word, std::string_view outside) {
  Stage& stage = TheStage();
  Agent agent(stage.settings);
  SessionRequests wishes;
  AgentReply reply;
  reply.StartReply({}, stage.key);
  bool claimed_for_good = false;
  bool known = false;
  {
    const SettingsPtr snapshot = agent.settings.Snapshot();
    UpgradeContext upgrade(&agent.control);
    const RequestContext context = {.settings = *snapshot,
                                    .peer = htonl(INADDR_LOOPBACK),
                                    .session_key = stage.key,
                                    .store = &agent.settings,
                                    .log = &agent.log,
                                    .control = &agent.control,
                                    .requests = &wishes,
                                    .upgrade = &upgrade};
    known = DispatchRequest(request, context, &reply);
    FUZZ_CHECK(!upgrade.IsActive() || word == "UpgradeCode");
    if (upgrade.IsActive()) SendProgram(request, outside, &upgrade);
    // A size that was refused keeps the slot, deliberately, until a byte follows.
    claimed_for_good = reply.Text().View().starts_with("501") && upgrade.IsActive();
    FinishUpgrade(&agent, &upgrade);
  }
  CheckSeal(&reply, stage);
  CheckReplyForm(word, reply.Text());
  const bool has_end = request.find('\r') != request.npos;
  FUZZ_CHECK(known == (has_end && FindCommand(word) != nullptr));
  FUZZ_CHECK(wishes.restart == (known && word == "ReloadApp"));
  FUZZ_CHECK(wishes.terminate == (known && word == "QUIT"));
  FUZZ_CHECK(agent.control.ClaimUpgradeSlot() != claimed_for_good);
  CheckSettings(known ? word : "", stage.settings, *agent.settings.Snapshot());
  CheckLog(!known, stage);
}

}  // namespace
}  // namespace zem

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zem::Stage& stage = zem::TheStage();
  const std::string_view input = zem::Text(data, size);
  const size_t end = std::min(input.find(zem::kOutsideFollows), size);
  const std::string_view outside = input.substr(std::min(end + 1, size));
  const std::string_view sent = input.substr(0, end);
  const std::string word(zem::Trimmed(sent.substr(0, sent.find('\n'))));
  const std::string request = zem::Confined(word, sent, stage.sandbox);
  {
    const zem::Inside inside(stage.sandbox);
    zem::SetOutside(outside);
    zem::Request(request, word, outside);
    zem::EndOutside();
  }
  FUZZ_CHECK(stage.sandbox.TreeState() == stage.tree_state);
  zem::CheckNothingLeftIn(stage.sandbox.Files().Path(zem::kMade));
  const bool saved = stage.ConfigState() != stage.config_state;
  FUZZ_CHECK(!saved || word == "SetSettings");
  if (saved) stage.ResetConfig();
  return 0;
}
