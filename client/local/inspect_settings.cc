// SPDX-License-Identifier: BSD-2-Clause
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <set>

#include "local/findings.h"
#include "model/words.h"
#include "protocol/address_filter.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr size_t kShortPassword = 16;
constexpr size_t kExamples = 3;

bool IsAddress(std::string_view text) {
  in_addr address;
  return inet_pton(AF_INET, std::string(text).c_str(), &address) == 1;
}

void InspectItem(const Settings& settings, std::string_view item, size_t number,
                 Findings* findings) {
  const bool active =
      settings.filter_marks.Length() >= number && settings.filter_marks.View()[number - 1] == '1';
  if (!active) return;
  if (item.find(',') != std::string_view::npos) {
    Warn(findings, "filterlist", "\"{}\": items are separated by single blanks, not by commas",
         item);
  } else if (!IsAddress(item)) {
    Warn(findings, "filterlist",
         "\"{}\" is no address: ranges, networks and names are not understood here", item);
  }
  const std::vector<std::string> more = AlsoAdmitted(item);
  if (more.empty()) return;
  std::string examples;
  for (size_t i = 0; i < std::min(more.size(), kExamples); ++i) {
    examples += (i == 0 ? "" : ", ") + more[i];
  }
  // Every configuration that admits the host itself has this one.
  const bool usual = item == "127.0.0.1";
  Add(findings, usual ? Severity::kNote : Severity::kWarning, "filterlist",
      "\"{}\" also admits {}{}: an address passes when its text occurs anywhere in "
      "the list",
      item, examples, more.size() > kExamples ? ", ..." : "");
}

void InspectFilter(const Settings& settings, Findings* findings) {
  if (!settings.filter_active) {
    Warn(findings, "filteractive", "off: every address may connect");
    return;
  }
  std::string_view rest = settings.filter_list;
  size_t items = 0;
  for (std::string_view item; TakePiece(&rest, "\r\n", &item);) {
    if (item.empty()) {
      Warn(findings, "filterlist", "two blanks in a row end the list");
      break;  // nothing behind it is read
    }
    InspectItem(settings, item, ++items, findings);
  }
  if (items > settings.filter_marks.Length()) {
    Warn(findings, "filtermarks", "{} items but {} marks: the items behind are not admitted", items,
         settings.filter_marks.Length());
  }
  if (settings.allow_list == "\r\n") {
    Warn(findings, "filterlist", "no active item: nobody may connect");
  }
}

void InspectList(const char* key, bool used, std::string_view list, Findings* findings) {
  if (!used) return;
  OvString error;
  (void)MatchAddressText("0.0.0.1", list, &error);  // for what it says about the list
  if (!error.IsEmpty()) Warn(findings, key, "{}", error.View());
  if (list.empty()) Note(findings, key, "empty: nobody is allowed");
}

void InspectPassword(const Settings& settings, Findings* findings) {
  const size_t length = settings.password.Length();
  if (length > 0 && length < kShortPassword) {
    Warn(findings, "password",
         "{} characters: its unsalted digest is visible on the wire and can be "
         "guessed offline; zemctl genpass makes one of 32",
         length);
  }
}

void InspectSwitches(const Settings& settings, Findings* findings) {
  const auto shell = [findings](bool on, const char* key) {
    if (on) Note(findings, key, "on: whoever knows the password may run programs");
  };
  shell(settings.external, "external");
  shell(settings.shell_script, "shellscript");
  shell(settings.execute_action, "executeaction");
  if (settings.process && !settings.proc_cnt_script.IsEmpty()) {
    Note(findings, "process",
         "on: process names reach a shell, so whoever knows the password may run programs");
  }
  if (settings.allow_updates) {
    Note(findings, "allowupdates", "on: the program can be replaced from updateaddr");
  }
}

// A connection from this very host comes from the address the agent listens on.
void InspectHost(const Settings& settings, Findings* findings) {
  const OvString& host = settings.host;
  if (host.IsEmpty() || !settings.allow_manage) return;
  OvString error;
  if (!MatchAddressText(host, settings.manage_addr, &error)) {
    Warn(findings, "host",
         "a local zemctl comes from this address, which manageaddr does not list");
  }
  if (settings.filter_active && settings.allow_list.Find(host.View()) == 0) {
    Warn(findings, "host",
         "a local zemctl comes from this address, which filterlist does not list");
  }
}

}  // namespace

std::vector<std::string> AlsoAdmitted(std::string_view item) {
  constexpr size_t kShortest = 7;  // 0.0.0.0
  constexpr size_t kLongest = 15;
  std::set<std::string> found;
  for (size_t from = 0; from + kShortest <= item.size(); ++from) {
    const size_t most = std::min(kLongest, item.size() - from);
    for (size_t length = kShortest; length <= most; ++length) {
      const std::string_view part = item.substr(from, length);
      if (part != item && IsAddress(part)) found.emplace(part);
    }
  }
  return {found.begin(), found.end()};
}

void InspectSettings(const Settings& settings, Findings* findings) {
  InspectFilter(settings, findings);
  InspectList("manageaddr", settings.allow_manage, settings.manage_addr, findings);
  InspectList("updateaddr", settings.allow_updates, settings.update_addr, findings);
  InspectPassword(settings, findings);
  InspectSwitches(settings, findings);
  InspectHost(settings, findings);
}

}  // namespace zem::client
