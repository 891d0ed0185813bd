// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/address_filter.h"

#include <gtest/gtest.h>

namespace zem {
namespace {

TEST(AddressFilter, MatchesAddressesAndRanges) {
  const struct {
    const char *list, *peer;
    bool matched;
    const char* error;
  } cases[] = {
      {"", "10.0.0.1", false, ""},
      {",-.,", "10.0.0.1", false, ""},
      {"192.168.1.1,192.168.1.10-192.168.1.20", "192.168.1.15", true, ""},
      {"192.168.1.1,192.168.1.10-192.168.1.20", "192.168.1.1", true, ""},
      {"192.168.1.1,192.168.1.10-192.168.1.20", "192.168.1.2", false, ""},
      {"192.168.1.10-192.168.1.20", "192.168.1.10", true, ""},
      {"192.168.1.10-192.168.1.20", "192.168.1.20", true, ""},
      {"192.168.1.10-192.168.1.20", "192.168.1.9", false, ""},
      {"192.168.1.10-192.168.1.20", "192.168.1.21", false, ""},
      {"192.168.1.20-192.168.1.10", "192.168.1.15", true, ""},
      {"1.0.0.0-255.0.0.0", "200.1.1.1", true, ""},  // unsigned, most significant octet first
      {"10.0.0.1, 10.0.0.2", "10.0.0.1", true, "Illegal character ( ) specified"},
      {"10.0.0.1, 10.0.0.2", "10.0.0.2", true, "Illegal character ( ) specified"},
      {"10.0.0.1 10.0.0.2", "10.0.0.1", false, "Invalid IP address (10.0.0.110.0.0.2) specified"},
      {"0.0.0.0,10.0.0.1", "10.0.0.1", false, ""},
      {"10.0.0.1,0.0.0.0", "0.0.0.0", false, ""},
      {"0-10.0.0.9", "10.0.0.1", false, ""},
      {"255.255.255.255", "10.0.0.1", false, "Invalid IP address (255.255.255.255) specified"},
      {"1.2.3.4-255.255.255.255", "200.0.0.1", false,
       "Invalid IP address (255.255.255.255) specified"},
      {"1.2.3.4-,5.6.7.8", "5.6.7.8", true, "Invalid IP address () specified"},
      {"1.2.3.4-1.2.3.256,5.6.7.8", "1.2.3.4", true, "Invalid IP address (1.2.3.256) specified"},
      {"10.0.0.1-10.0.0.5-10.0.0.9", "10.0.0.7", false, ""},
      {"10.0.0.1-10.0.0.5-10.0.0.9", "10.0.0.9", true, ""},
      {"--10.0.0.1", "10.0.0.1", true, ""},
      {"10.1", "10.0.0.1", true, ""},
      {"010.0.0.1", "8.0.0.1", true, ""},
      {"1.2.3.4.5,10.0.0.1", "10.0.0.1", false, "Invalid IP address (1.2.3.4.5) specified"},
      {"10.0.0.1,1.2.3.256", "10.0.0.1", true, ""},  // the first match ends the reading
      {"1.2.3.256 ,10.0.0.1", "10.0.0.1", false, "Invalid IP address (1.2.3.256) specified"},
      {"10.0.0.1\r\n", "10.0.0.2", false, "Illegal character (\r) specified"},
      {"0x0a.0.0.1", "10.0.0.1", false, "Illegal character (x) specified"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.list);
    OvString error("stale");
    EXPECT_EQ(MatchAddressText(c.peer, c.list, &error), c.matched);
    EXPECT_EQ(error, c.error);
  }
  OvString error("kept");
  EXPECT_FALSE(MatchAddressText("not an address", "1.2.3.4", &error));
  EXPECT_FALSE(MatchAddressText("255.255.255.255", "1.2.3.4", &error));
  EXPECT_EQ(error, "kept");
}

}  // namespace
}  // namespace zem
