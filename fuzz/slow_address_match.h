// SPDX-License-Identifier: BSD-2-Clause
// An address matcher that is slow and obvious, to compare the real one with.

#ifndef ZEM_FUZZ_SLOW_ADDRESS_MATCH_H_
#define ZEM_FUZZ_SLOW_ADDRESS_MATCH_H_

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdint>
#include <string>
#include <utility>

namespace zem {

// By the rules, one character at a time; `peer` is in host byte order.
inline std::pair<bool, std::string> SlowMatch(uint32_t peer, const std::string& list) {
  std::string items;
  std::string error;
  for (const char byte : list) {
    if ((byte >= '0' && byte <= '9') || byte == '.' || byte == '-' || byte == ',') items += byte;
  }
  const auto take = [&items] {
    std::string address;
    while (!items.empty() && items[0] != ',' && items[0] != '-') {
      address += items[0];
      items.erase(0, 1);
    }
    return address;
  };
  bool matched = false;
  while (!matched) {
    while (!items.empty() && (items[0] < '0' || items[0] > '9')) items.erase(0, 1);
    const std::string first = take();
    if (first.empty()) break;
    if (inet_addr(first.c_str()) == INADDR_NONE) {
      error = "Invalid IP address (" + first + ") specified";
      break;
    }
    uint32_t low = ntohl(inet_addr(first.c_str()));
    uint32_t high = low;
    if (!items.empty() && items[0] == '-') {
      items.erase(0, 1);
      const std::string second = take();
      if (inet_addr(second.c_str()) == INADDR_NONE) {
        error = "Invalid IP address (" + second + ") specified";
      } else {
        high = ntohl(inet_addr(second.c_str()));
      }
    }
    if (!items.empty()) items.erase(0, 1);
    if (low == 0) break;
    if (low > high) std::swap(low, high);
    matched = peer >= low && peer <= high;
  }
  for (const char byte : list) {
    if (!error.empty()) break;
    if (std::string("0123456789.-,").find(byte) == std::string::npos) {
      error = std::string("Illegal character (") + byte + ") specified";
    }
  }
  return {matched, error};
}

}  // namespace zem

#endif  // ZEM_FUZZ_SLOW_ADDRESS_MATCH_H_
