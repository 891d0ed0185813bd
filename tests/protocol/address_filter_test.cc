// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/address_filter.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "protocol/slow_address_match.h"

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

TEST(AddressFilter, AgreesWithASlowMatcherOnGeneratedLists) {
  static constexpr const char* kPieces[] = {"10.0.0.1",
                                            "10.0.0.3",
                                            "10.0.0.2",
                                            "10.2",
                                            "0.0.0.0",
                                            "0",
                                            "255.255.255.255",
                                            "300.1",
                                            "1.2.3.4.5",
                                            "-",
                                            "-",
                                            "-",
                                            ",",
                                            ",",
                                            ",",
                                            ",",
                                            " ",
                                            ".",
                                            "x",
                                            "7",
                                            "\r\n",
                                            "..",
                                            "10.0.0.1-10.0.0.3"};
  std::mt19937 random(20240229);
  int matches = 0;
  int errors = 0;
  for (int i = 0; i < 60000; ++i) {
    std::string list;
    for (auto count = random() % 8; count > 0; --count)
      list += kPieces[random() % std::size(kPieces)];
    const uint32_t peer = random() % 8 == 0 ? 0 : 0x0A000000 + static_cast<uint32_t>(random() % 5);
    OvString error("stale");
    const bool matched = MatchAddress(htonl(peer), list, &error);
    const auto [expected, expected_error] = SlowMatch(peer, list);
    ASSERT_EQ(matched, expected) << list;
    ASSERT_EQ(error, expected_error) << list;
    matches += matched ? 1 : 0;
    errors += expected_error.empty() ? 0 : 1;
  }
  // The lists are worth something: many match, many do not, many are malformed.
  EXPECT_GT(matches, 3000);
  EXPECT_GT(errors, 6000);
}

}  // namespace
}  // namespace zem
