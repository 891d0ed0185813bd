// SPDX-License-Identifier: BSD-2-Clause
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <set>

#include <fmt/format.h>

#include "local/findings.h"
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

class SettingsInspector {
 public:
  SettingsInspector(const Settings& settings, Findings* findings)
      : settings_(settings), findings_(findings) {}

  void Inspect() {
    InspectFilter();
    InspectList("manageaddr", settings_.allow_manage, settings_.manage_addr);
    InspectList("updateaddr", settings_.allow_updates, settings_.update_addr);
    InspectPassword();
    InspectSwitches();
    InspectHost();
  }

 private:
  void Add(Severity severity, const char* key, std::string text) {
    findings_->push_back({severity, 0, key, std::move(text)});
  }

  void InspectFilter() {
    if (!settings_.filter_active) {
      Add(Severity::kWarning, "filteractive", "off: every address may connect");
      return;
    }
    std::string_view rest = settings_.filter_list;
    size_t items = 0;
    while (!rest.empty()) {
      const size_t end = std::min(rest.find("\r\n"), rest.size());
      if (end == 0) break;  // a double blank: nothing behind it is read
      InspectItem(rest.substr(0, end), ++items);
      rest.remove_prefix(std::min(end + 2, rest.size()));
    }
    if (!rest.empty()) {
      Add(Severity::kWarning, "filterlist", "two blanks in a row end the list");
    }
    if (items > settings_.filter_marks.Length()) {
      Add(Severity::kWarning, "filtermarks",
          fmt::format("{} items but {} marks: the items behind are not admitted", items,
                      settings_.filter_marks.Length()));
    }
    if (settings_.allow_list == "\r\n") {
      Add(Severity::kWarning, "filterlist", "no active item: nobody may connect");
    }
  }

  void InspectItem(std::string_view item, size_t number) {
    const bool active = settings_.filter_marks.Length() >= number &&
                        settings_.filter_marks.View()[number - 1] == '1';
    if (!active) return;
    if (item.find(',') != std::string_view::npos) {
      Add(Severity::kWarning, "filterlist",
          fmt::format("\"{}\": items are separated by single blanks, not by commas", item));
    } else if (!IsAddress(item)) {
      Add(Severity::kWarning, "filterlist",
          fmt::format("\"{}\" is no address: ranges, networks and names are not understood here",
                      item));
    }
    const std::vector<std::string> more = AlsoAdmitted(item);
    if (more.empty()) return;
    std::string examples;
    for (size_t i = 0; i < std::min(more.size(), kExamples); ++i) {
      examples += (i == 0 ? "" : ", ") + more[i];
    }
    // Every configuration that admits the host itself has this one.
    const bool usual = item == "127.0.0.1";
    Add(usual ? Severity::kNote : Severity::kWarning, "filterlist",
        fmt::format("\"{}\" also admits {}{}: an address passes when its text occurs anywhere in "
                    "the list",
                    item, examples, more.size() > kExamples ? ", ..." : ""));
  }

  void InspectList(const char* key, bool used, std::string_view list) {
    if (!used) return;
    OvString error;
    (void)MatchAddressText("0.0.0.1", list, &error);  // for what it says about the list
    if (!error.IsEmpty()) Add(Severity::kWarning, key, std::string(error.View()));
    if (list.empty()) Add(Severity::kNote, key, "empty: nobody is allowed");
  }

  void InspectPassword() {
    const size_t length = settings_.password.Length();
    if (length > 0 && length < kShortPassword) {
      Add(Severity::kWarning, "password",
          fmt::format("{} characters: its unsalted digest is visible on the wire and can be "
                      "guessed offline; zemctl genpass makes one of 32",
                      length));
    }
  }

  void InspectSwitches() {
    const auto shell = [this](bool on, const char* key) {
      if (on) Add(Severity::kNote, key, "on: whoever knows the password may run programs");
    };
    shell(settings_.external, "external");
    shell(settings_.shell_script, "shellscript");
    shell(settings_.execute_action, "executeaction");
    if (settings_.process && !settings_.proc_cnt_script.IsEmpty()) {
      Add(Severity::kNote, "process",
          "on: process names reach a shell, so whoever knows the password may run programs");
    }
    if (settings_.allow_updates) {
      Add(Severity::kNote, "allowupdates", "on: the program can be replaced from updateaddr");
    }
  }

  // A connection from this very host comes from the address the agent listens on.
  void InspectHost() {
    const OvString& host = settings_.host;
    if (host.IsEmpty() || !settings_.allow_manage) return;
    OvString error;
    if (!MatchAddressText(host, settings_.manage_addr, &error)) {
      Add(Severity::kWarning, "host",
          "a local zemctl comes from this address, which manageaddr does not list");
    }
    if (settings_.filter_active && settings_.allow_list.Find(host.View()) == 0) {
      Add(Severity::kWarning, "host",
          "a local zemctl comes from this address, which filterlist does not list");
    }
  }

  const Settings& settings_;
  Findings* const findings_;
};

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
  SettingsInspector(settings, findings).Inspect();
}

}  // namespace zem::client
