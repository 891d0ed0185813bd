// SPDX-License-Identifier: BSD-2-Clause
// Who may be asked, and under which password: the gate in front of every connection.
//
// Whoever reaches the exporter's port names the target, so a target that no rule lists never gets a
// connection: it would receive a digest of the password.
// Shapes:  a target is HOST, HOST:PORT, ADDRESS, [ADDRESS] or [ADDRESS]:PORT. A pattern is a name,
//          a suffix "*.example.com" (not example.com itself), an address, or ADDRESS/BITS. A name
//          is compared as a name, before anybody looks it up; an address only with addresses.
// Errors:  std::invalid_argument, with a text for who wrote the target or the pattern.
// Threads: as any value.

#ifndef ZEM_EXPORTER_TARGETS_H_
#define ZEM_EXPORTER_TARGETS_H_

#include <netinet/in.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zem::exporter {

inline constexpr int kDefaultPort = 1055;

// An IPv4 address in its form inside of IPv6.
using Address = in6_addr;

struct Target {
  std::string host;  // a name in small letters, or an address in its one spelling
  std::optional<Address> address;
  int port = kDefaultPort;

  // The one spelling of the whole target.
  std::string Text() const;
};

Target ParseTarget(std::string_view text);

class Pattern {
 public:
  static Pattern Parse(std::string_view text);
  bool Matches(const Target& target) const;

 private:
  std::string name_;  // with the dot of a suffix in front
  std::optional<Address> address_;
  int bits_ = 0;  // of the 128 of an address
};

struct TargetRule {
  std::vector<Pattern> patterns;
  std::vector<int> ports;
  std::string auth;

  bool Admits(const Target& target) const;
};

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_TARGETS_H_
