// SPDX-License-Identifier: BSD-2-Clause
// Four bytes of address, then a list: the matcher agrees with a slow one.
#include <arpa/inet.h>

#include <cstring>
#include <string>

#include "fuzz.h"
#include "protocol/address_filter.h"
#include "slow_address_match.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  uint32_t peer = 0;
  if (size < sizeof(peer)) return 0;
  memcpy(&peer, data, sizeof(peer));
  const std::string list(zem::Text(data + sizeof(peer), size - sizeof(peer)));
  zem::OvString error;
  const bool matched = zem::MatchAddress(peer, list, &error);
  const auto [expected, expected_error] = zem::SlowMatch(ntohl(peer), list);
  FUZZ_CHECK(matched == expected);
  FUZZ_CHECK(error == expected_error);
  return 0;
}
