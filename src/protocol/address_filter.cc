// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/address_filter.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <optional>

namespace zem {

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kMeaningful = "0123456789.-,";
constexpr std::string_view kEndOfAddress = ",-";

bool IsMeaningful(char byte) {
  return kMeaningful.find(byte) != std::string_view::npos;
}

// Host byte order; nothing for a text that inet_addr rejects. 255.255.255.255 is rejected too,
// since its value is the one that inet_addr rejects with.
std::optional<uint32_t> ReadAddress(std::string_view text) {
  const in_addr_t address = inet_addr(OvString(text).CStr());
  if (address == INADDR_NONE) return std::nullopt;
  return ntohl(address);
}

void SetInvalidAddress(std::string_view address, OvString* error) {
  *error = "Invalid IP address (";
  error->Append(address).Append(") specified");
}

std::string_view TakeAddress(std::string_view* rest) {
  const std::string_view address = rest->substr(0, rest->find_first_of(kEndOfAddress));
  rest->remove_prefix(address.size());
  return address;
}

// Reads items from the front of `rest` until one holds the peer.
bool ScanItems(uint32_t peer, std::string_view rest, OvString* error) {
  for (;;) {
    rest.remove_prefix(std::min(rest.find_first_of(kDigits), rest.size()));
    if (rest.empty()) return false;
    const std::string_view first_text = TakeAddress(&rest);
    const std::optional<uint32_t> first = ReadAddress(first_text);
    if (!first) {
      SetInvalidAddress(first_text, error);
      return false;
    }
    std::optional<uint32_t> second = first;
    if (!rest.empty() && rest.front() == '-') {
      rest.remove_prefix(1);
      const std::string_view second_text = TakeAddress(&rest);
      second = ReadAddress(second_text);
      if (!second) {
        SetInvalidAddress(second_text, error);
        second = first;
      }
    }
    if (!rest.empty()) rest.remove_prefix(1);
    // Deliberate: 0 marks the end of the list, so nothing behind an item 0.0.0.0 is ever read.
    if (*first == 0) return false;
    const auto [low, high] = std::minmax(*first, *second);
    if (low <= peer && peer <= high) return true;
  }
}

}  // namespace

bool MatchAddress(uint32_t peer, std::string_view list, OvString* error) {
  error->Clear();
  OvString items;
  for (const char byte : list) {
    if (IsMeaningful(byte)) items.Append(byte);
  }
  const bool matched = ScanItems(ntohl(peer), items, error);
  if (!error->IsEmpty()) return matched;
  const auto* stray = std::find_if_not(list.begin(), list.end(), IsMeaningful);
  if (stray != list.end()) {
    *error = "Illegal character (";
    error->Append(*stray).Append(") specified");
  }
  return matched;
}

bool MatchAddressText(const OvString& address, std::string_view list, OvString* error) {
  const in_addr_t peer = inet_addr(address.CStr());
  if (peer == INADDR_NONE) return false;
  return MatchAddress(peer, list, error);
}

}  // namespace zem
