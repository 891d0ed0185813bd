// SPDX-License-Identifier: BSD-2-Clause
#include "targets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <stdexcept>

#include "model/words.h"

namespace zem::exporter {

namespace {

constexpr size_t kLongestName = 253;
constexpr size_t kLongestLabel = 63;
constexpr int kLargestPort = 65535;
constexpr int kAddressBits = 128;
constexpr int kMappedBits = 96;  // in front of an IPv4 address

bool IsDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

bool IsMapped(const Address& address) {
  return IN6_IS_ADDR_V4MAPPED(&address);
}

std::optional<Address> ParseAddress(std::string_view text) {
  const std::string copy(text);
  Address address = {};
  if (copy.size() != strlen(copy.c_str())) return std::nullopt;
  if (inet_pton(AF_INET6, copy.c_str(), &address) == 1) return address;
  address.s6_addr[10] = address.s6_addr[11] = 0xff;
  if (inet_pton(AF_INET, copy.c_str(), &address.s6_addr[12]) == 1) return address;
  return std::nullopt;
}

std::string AddressText(const Address& address) {
  char text[INET6_ADDRSTRLEN] = "";
  if (IsMapped(address)) {
    inet_ntop(AF_INET, &address.s6_addr[12], text, sizeof(text));
  } else {
    inet_ntop(AF_INET6, &address, text, sizeof(text));
  }
  return text;
}

// In small letters, without the dot that ends a full name; nothing for what is no name. The system
// takes "1", "0x7f.1" and "127.1" for addresses too: such a name would pass a rule for names and
// reach an address that no rule lists.
std::optional<std::string> ParseName(std::string_view text) {
  std::string name(text);
  if (name.ends_with('.')) name.pop_back();
  if (name.empty() || name.size() > kLongestName) return std::nullopt;
  size_t label = 0;
  for (char& byte : name) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
    const bool fits = (byte >= 'a' && byte <= 'z') || IsDigit(byte) || byte == '-' || byte == '_';
    if (!fits && (byte != '.' || label == 0)) return std::nullopt;
    label = byte == '.' ? 0 : label + 1;
    if (label > kLongestLabel) return std::nullopt;
  }
  const std::string_view last = std::string_view(name).substr(name.rfind('.') + 1);
  const bool is_number = last.starts_with("0x") || std::all_of(last.begin(), last.end(), IsDigit);
  if (name.front() == '-' || is_number) return std::nullopt;
  return name;
}

[[noreturn]] void Refuse(const char* what) {
  throw std::invalid_argument(what);
}

int ParsePort(std::string_view text) {
  int port = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), port);
  if (end.ec != std::errc() || end.ptr != text.data() + text.size() || port < 1 ||
      port > kLargestPort) {
    Refuse("the port of the target is not a number from 1 to 65535");
  }
  return port;
}

bool SameBits(const Address& a, const Address& b, int bits) {
  const auto whole = static_cast<size_t>(bits / 8);
  if (memcmp(a.s6_addr, b.s6_addr, whole) != 0) return false;
  const int rest = bits % 8;
  return rest == 0 || (a.s6_addr[whole] ^ b.s6_addr[whole]) >> (8 - rest) == 0;
}

}  // namespace

std::string Target::Text() const {
  const bool bracketed = host.find(':') != std::string::npos;
  return (bracketed ? '[' + host + ']' : host) + ':' + std::to_string(port);
}

Target ParseTarget(std::string_view text) {
  Target target;
  std::string_view host = text;
  std::string_view port;
  const size_t colon = text.rfind(':');
  if (text.starts_with('[')) {
    const size_t end = text.find(']');
    if (end == std::string_view::npos) Refuse("the target has no \"]\"");
    host = text.substr(1, end - 1);
    port = text.substr(end + 1);
    if (host.find(':') == std::string_view::npos || (!port.empty() && port.front() != ':')) {
      Refuse("the target is not [ADDRESS]:PORT");
    }
  } else if (colon != std::string_view::npos && text.find(':') == colon) {
    host = text.substr(0, colon);
    port = text.substr(colon);
  }
  if (!port.empty()) target.port = ParsePort(port.substr(1));
  target.address = ParseAddress(host);
  if (target.address) {
    target.host = AddressText(*target.address);
    return target;
  }
  const std::optional<std::string> name = ParseName(host);
  if (!name) Refuse("the target is neither a name nor an address");
  target.host = *name;
  return target;
}

Pattern Pattern::Parse(std::string_view text) {
  Pattern pattern;
  const size_t slash = text.find('/');
  pattern.address_ = ParseAddress(text.substr(0, slash));
  if (pattern.address_) {
    pattern.bits_ = kAddressBits;
    if (slash == std::string_view::npos) return pattern;
    const bool is_mapped = IsMapped(*pattern.address_);
    const auto bits = client::ParseWhole(text.substr(slash + 1));
    if (!bits || *bits < 0 || *bits > (is_mapped ? kAddressBits - kMappedBits : kAddressBits)) {
      Refuse("the bits behind \"/\" are not a number that fits the address");
    }
    pattern.bits_ = static_cast<int>(*bits) + (is_mapped ? kMappedBits : 0);
    Address network = {};
    for (int i = 0; i < pattern.bits_; ++i) {
      const int with_bit =
          network.s6_addr[i / 8] | (pattern.address_->s6_addr[i / 8] & (0x80 >> (i % 8)));
      network.s6_addr[i / 8] = static_cast<uint8_t>(with_bit);
    }
    if (!SameBits(network, *pattern.address_, kAddressBits)) {
      Refuse("the address has bits behind its prefix");
    }
    return pattern;
  }
  const bool is_suffix = text.starts_with("*.");
  const std::optional<std::string> name = ParseName(text.substr(is_suffix ? 2 : 0));
  if (!name) Refuse("neither a name, nor *.SUFFIX, nor an address, nor ADDRESS/BITS");
  pattern.name_ = (is_suffix ? "." : "") + *name;
  return pattern;
}

bool Pattern::Matches(const Target& target) const {
  if (address_.has_value() != target.address.has_value()) return false;
  if (!address_) {
    return name_.front() == '.' ? target.host.ends_with(name_) : target.host == name_;
  }
  // "::/0" is every IPv6 address, and no IPv4 address by the way.
  return IsMapped(*address_) == IsMapped(*target.address) &&
         SameBits(*address_, *target.address, bits_);
}

bool TargetRule::Admits(const Target& target) const {
  return std::find(ports.begin(), ports.end(), target.port) != ports.end() &&
         std::any_of(patterns.begin(), patterns.end(),
                     [&](const Pattern& pattern) { return pattern.Matches(target); });
}

}  // namespace zem::exporter
