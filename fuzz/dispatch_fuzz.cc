// SPDX-License-Identifier: BSD-2-Clause
// A whole deciphered request through the dispatcher, with every permission given. Behind the byte
// 0x1e stands what the outside world answers: a program's output, a socket's reply, the program of
// an upgrade.
//
// Files are those of inside.h. No command is left out: what would leave the process is played by
// outside.cc, and a restart, a stop or an upgrade is only noted by its handler. Every input gets an
// agent of its own, and what it left is looked for.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <string>

#include "core/agent.h"
#include "core/config_file.h"
#include "dispatch/command_table.h"
#include "dispatch/dispatcher.h"
#include "dispatch/upgrade.h"
#include "fuzz.h"
#include "inside.h"
#include "memory_tree.h"
#include "outside.h"
#include "protocol/digest.h"
#include "protocol/packet.h"
#include "protocol/zem_const.h"
#include "reply_form.h"
#include "small_tree.h"
#include "text/file_info.h"
#include "text/numbers.h"

namespace zem {
namespace {

constexpr char kOutsideFollows = 0x1e;
constexpr const char* kConfig = "/zem.cfg";
constexpr const char* kLog = "/bad.log";
constexpr size_t kReceiveBytes = 1024;
constexpr size_t kLongestLogEntry = 511;

constexpr const char* kConfigText =
    "# the agent under test\nport=1055\npassword=secret\ntimeout=4000\ncomment=a comment\n"
    "filtermarks=10\nfilterlist=127.0.0.1 10.0.0.1\nmanageaddr=127.0.0.1\nupdateaddr=127.0.0.1\n"
    "executeaction=1\ntcpudpaction=1\nsyslogaction=1\nbadlogfile=bad.log\ndelayforscripts=0\n"
    "zempath=/zem\ntmpdir=/made\ncpuusagescript=/script\nproclistscript=/script\n"
    "proccntscript=/script\n";

// Made once. The settings come from the file that requests can change.
struct Stage {
  Stage() : key(MakeSessionKey("key")) {
    PutSmallTree();
    PutFolder(kMade, 0755, 1'000'000'000);
    for (const char* path : {"/zem", "/script"}) PutFile(path, "", 0755);
    PutFile(kLog, "");
    ResetConfig();
    for (const char* path : {"/zem", "/script"}) Freeze(path);
    entries = RootOfMemory()->entries.size();
    settings.config_path = kConfig;
    OvString error;
    const Inside inside;
    FUZZ_CHECK(LoadSettings(&settings, &error) && error.IsEmpty());
  }

  void ResetConfig() {
    RootOfMemory()->SetChild("zem.cfg.Old", nullptr);
    PutFile(kConfig, kConfigText);
    Freeze(kConfig);  // a save puts another file in its place
    config = IdentityOf(kConfig);
  }

  const SessionKeyPtr key;
  uint64_t config = 0;
  size_t entries = 0;  // of the root
  Settings settings;
};

Stage& TheStage() {
  static Stage stage;
  return stage;
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
  FUZZ_CHECK(RemoveFile("/made/zem__.upd"));
  agent->control.ClearUpgrade();
}

void CheckLog(bool expected) {
  const size_t size = TextOf(kLog).size();
  FUZZ_CHECK(size <= kLongestLogEntry);
  FUZZ_CHECK(expected == (size > 0));
  if (size > 0) PutFile(kLog, "");
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
  CheckLog(!known);
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
  {
    const zem::Inside inside;
    zem::SetOutside(outside);
    zem::Request(sent, word, outside);
    zem::EndOutside();
  }
  const bool saved = zem::IdentityOf(zem::kConfig) != stage.config;
  FUZZ_CHECK(!saved || word == "SetSettings");
  if (saved) stage.ResetConfig();
  FUZZ_CHECK(zem::IsEmptyFolder(zem::kMade));
  FUZZ_CHECK(zem::RootOfMemory()->entries.size() == stage.entries);
  return 0;
}
